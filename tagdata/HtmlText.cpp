#include "HtmlText.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::array<std::string_view, 5> NAMED_ENTITIES = {"&amp;", "&lt;", "&gt;", "&quot;",
                                                            "&apos;"};

bool beginsEntity(std::string_view rest) {
    for (std::string_view const entity : NAMED_ENTITIES) {
        if (rest.substr(0, entity.size()) == entity) {
            return true;
        }
    }
    return false;
}

/** Gives the entity for the first occurrence of a character and the bare character from then on. */
class FirstOnly {
public:
    FirstOnly(char const* bare, char const* entity) : mBare(bare), mNext(entity) {}

    std::string_view take() { return std::exchange(mNext, mBare); }

private:
    std::string_view mBare;
    std::string_view mNext;
};

bool isEncoded(char character) {
    switch (character) {
    case '&':
    case '<':
    case '>':
    case '"':
    case '\'':
        return true;
    default:
        return false;
    }
}

} // namespace

void appendEncoded(std::string& text, std::string_view value) {
    // Only the first quote and the first apostrophe, in the stored files and on the iPods alike.
    // Test: CTagHTMLEncode.OnlyTheFirstDoubleQuoteIsEncoded.
    FirstOnly quote("\"", "&quot;");
    FirstOnly apostrophe("'", "&apos;");
    for (;;) {
        auto const* const plainEnd = std::find_if(value.begin(), value.end(), isEncoded);
        auto const plain = static_cast<std::size_t>(plainEnd - value.begin());
        text += value.substr(0, plain);
        value.remove_prefix(plain);
        if (value.empty()) {
            return;
        }
        switch (value.front()) {
        case '&':
            text += beginsEntity(value) ? "&" : "&amp;";
            break;
        case '<':
            text += "&lt;";
            break;
        case '>':
            text += "&gt;";
            break;
        case '"':
            text += quote.take();
            break;
        default:
            text += apostrophe.take();
        }
        value.remove_prefix(1);
    }
}
