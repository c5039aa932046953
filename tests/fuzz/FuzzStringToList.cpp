#include "FuzzTarget.h"
#include "tagdata/HexParser.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(data, data + size);
    auto const blanks = static_cast<std::size_t>(std::count(text.begin(), text.end(), ' '));
    bool const endsOpen = !text.empty() && text.back() != ' ';

    ListOwner<unsigned int> const list(CHexParser(0, false).StringToList(text));

    require(list->Count() == blanks + (endsOpen ? 1U : 0U), "each blank ends an element");
    return 0;
}
