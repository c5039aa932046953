#include "../unit/tagdata/StreamModel.h"
#include "FuzzTarget.h"
#include "tagdata/HexParser.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes const stream = bytesOf(data, size);
    auto const expected = model::ambiguous(stream);
    ListOwner<unsigned int> const list = listOf(stream);
    ListOwner<CAmbigTag> candidates;

    if (decodes([&] { candidates.reset(CHexParser(0, false).ParseAmbig(list.get())); })) {
        require(expected.has_value(), "a stream that is too short is refused");
        require(candidates->Count() == 2, "an ambiguous tag has two candidates");
        requireTexts(valuesOf(*candidates->PeekAt(0)), (*expected)[0].first);
        requireTexts(valuesOf(*candidates->PeekAt(1)), (*expected)[1].first);
    }
    require(bytesOf(*list) == stream, "the list stays as it is");
    return 0;
}
