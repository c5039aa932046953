#include "../unit/tagdata/StreamModel.h"
#include "FuzzTarget.h"
#include "tagdata/HexParser.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes const stream = bytesOf(data, size);
    std::optional<Values> const expected = model::single(stream);
    ListOwner<unsigned int> const list = listOf(stream);
    std::unique_ptr<CTag> tag;

    if (decodes([&] { tag.reset(CHexParser(0, false).ParseSingle(list.get())); })) {
        require(expected.has_value(), "a stream that is too short is refused");
        requireTexts(valuesOf(*tag), *expected);
    } else {
        bool const hasNumbers =
            expected && stream[1 + ProgramNumber] + stream[1 + StorefrontId] > 0;
        require(!expected || hasNumbers, "a long enough stream is refused for its numbers only");
    }
    require(bytesOf(*list) == stream, "the list stays as it is");
    return 0;
}
