// What is printed, letter by letter. Titles come from the radio in any script, and are to stand in
// columns and to do no harm to a terminal. So texts are taken apart into letters here, whatever the
// user's locale, and each is counted by the columns that it takes or replaced if it would move the
// cursor. Nothing is kept from one text to the next.
#include "tools/Text.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cwchar>
#include <dbus/dbus.h>
#include <ostream>

namespace {

constexpr char UNPRINTABLE = '?';
constexpr char GAP[] = "  ";

/** While it lives, this thread's letters are those of UTF-8, whatever the user's locale says. */
class Utf8Letters {
public:
    Utf8Letters()
        : mLetters(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), mBefore(uselocale(mLetters)) {}
    ~Utf8Letters() {
        uselocale(mBefore);
        if (mLetters != nullptr) {
            freelocale(mLetters);
        }
    }
    Utf8Letters(Utf8Letters const&) = delete;
    Utf8Letters& operator=(Utf8Letters const&) = delete;

private:
    locale_t mLetters;
    locale_t mBefore;
};

/** The letter at the start of a text; one byte that is no letter where it is not UTF-8. */
struct Letter {
    explicit Letter(char const* text, std::size_t left) {
        std::mbstate_t state{};
        std::size_t const taken = std::mbrtowc(&code, text, left, &state);
        isLetter = taken != 0 && taken <= left;
        bytes = isLetter ? taken : 1;
    }

    wchar_t code = 0;
    std::size_t bytes;
    bool isLetter;
};

/** Calls a function with each letter and where it stands. */
template <class Take>
void forEachLetter(std::string const& text, Take take) {
    Utf8Letters const letters;
    for (std::size_t at = 0; at < text.size();) {
        Letter const letter(text.data() + at, text.size() - at);
        take(letter, at);
        at += letter.bytes;
    }
}

bool turnsTheLine(wchar_t code) {
    struct Range {
        wchar_t first;
        wchar_t last;
    };
    constexpr std::array<Range, 3> TURNS = {{{0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}}};
    return std::any_of(TURNS.begin(), TURNS.end(), [code](Range const& range) {
        return range.first <= code && code <= range.last;
    });
}

bool steersTheTerminal(wchar_t code) {
    constexpr wchar_t FIRST_PRINTABLE = 0x20;
    constexpr wchar_t DELETE = 0x7F;
    constexpr wchar_t LAST_CONTROL = 0x9F;
    return code < FIRST_PRINTABLE || (code >= DELETE && code <= LAST_CONTROL) || turnsTheLine(code);
}

std::string formattedTime(char const* format, std::tm const& time) {
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), format, &time);
    return text.data();
}

} // namespace

std::string printable(std::string const& text) {
    std::string safe;
    forEachLetter(text, [&](Letter const& letter, std::size_t at) {
        if (letter.isLetter && !steersTheTerminal(letter.code)) {
            safe.append(text, at, letter.bytes);
        } else {
            safe += UNPRINTABLE;
        }
    });
    return safe;
}

std::size_t displayWidth(std::string const& text) {
    std::size_t width = 0;
    forEachLetter(text, [&](Letter const& letter, std::size_t) {
        width += static_cast<std::size_t>(std::max(wcwidth(letter.code), 0));
    });
    return width;
}

bool isUtf8(std::string const& text) {
    return text.find('\0') == std::string::npos && dbus_validate_utf8(text.c_str(), nullptr) != 0;
}

std::string counted(std::size_t count, std::string const& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string localTime(std::time_t moment) {
    std::tm time{};
    localtime_r(&moment, &time);
    return formattedTime("%Y-%m-%d %H:%M:%S", time);
}

std::string utcTime(std::time_t moment) {
    std::tm time{};
    gmtime_r(&moment, &time);
    return formattedTime("%Y-%m-%dT%H:%M:%SZ", time);
}

std::string Style::marked(char const* code, std::string const& text) const {
    return mColour ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
}

void Table::add(std::vector<std::string> const& cells) {
    mRows.emplace_back();
    for (std::string const& cell : cells) {
        mRows.back().push_back(printable(cell));
    }
}

std::vector<std::size_t> Table::widths() const {
    std::vector<std::size_t> widths;
    for (std::vector<std::string> const& row : mRows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    return widths;
}

void Table::print(std::ostream& out, Style const& style) const {
    std::vector<std::size_t> const columns = widths();
    for (std::vector<std::string> const& row : mRows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            if (column + 1 < row.size()) {
                line.append(columns[column] - displayWidth(row[column]), ' ').append(GAP);
            }
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << (mHasHeads && &row == &mRows.front() ? style.bold(line) : line) << "\n";
    }
}
