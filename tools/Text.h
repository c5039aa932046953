#pragma once

#include <ctime>
#include <iosfwd>
#include <string>
#include <vector>

/**
 * A text for a terminal: titles come from the air, so what would steer the terminal (control
 * characters, changes of the writing direction) or is no UTF-8 becomes a question mark.
 */
std::string printable(std::string const& text);

/** How many columns of a terminal a text takes; letters of the far East take two. */
std::size_t displayWidth(std::string const& text);

/** Whether the whole text is UTF-8, without a zero byte. */
bool isUtf8(std::string const& text);

/** "1 tag", "2 tags". */
std::string counted(std::size_t count, std::string const& noun);

/** A moment for people, in local time, as in "2026-05-17 18:04:09". */
std::string localTime(std::time_t moment);
/** A moment for programs, in UTC, as in "2026-05-17T16:04:09Z". */
std::string utcTime(std::time_t moment);

/** Marks parts of a text where the output shows colours, and nowhere else. */
class Style {
public:
    explicit Style(bool colour) : mColour(colour) {}

    std::string bold(std::string const& text) const { return marked("1", text); }
    std::string good(std::string const& text) const { return marked("32", text); }
    std::string doubtful(std::string const& text) const { return marked("33", text); }
    std::string bad(std::string const& text) const { return marked("1;31", text); }

private:
    std::string marked(char const* code, std::string const& text) const;

    bool mColour;
};

/** Rows of cells whose columns stand below each other. */
class Table {
public:
    /** The first row, which is bold where there are colours. */
    explicit Table(std::vector<std::string> heads) : mRows{std::move(heads)}, mHasHeads(true) {}
    /** No heads. */
    Table() = default;

    /** The cells are made printable on the way in. */
    void add(std::vector<std::string> const& cells);

    void print(std::ostream& out, Style const& style) const;

private:
    std::vector<std::size_t> widths() const;

    std::vector<std::vector<std::string>> mRows;
    bool mHasHeads = false;
};
