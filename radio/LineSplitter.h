#pragma once

#include <functional>
#include <string>
#include <string_view>

/**
 * Makes lines of bytes that come in pieces of any size. A line ends with a line feed, which is not
 * handed on, nor is a carriage return before it. Of a line that is longer than MAX_LINE_BYTES the
 * rest is dropped.
 */
class LineSplitter {
public:
    /** More than any line of a receiver, less than what a source could fill the memory with. */
    static constexpr std::size_t MAX_LINE_BYTES = std::size_t{64} * 1024;

    using OnLine = std::function<void(std::string_view)>;

    explicit LineSplitter(OnLine onLine) : mOnLine(std::move(onLine)) {}

    void feed(std::string_view bytes);
    /** Takes what has come of a line as a line: no more will come of it. */
    void finish();

private:
    void keep(std::string_view bytes);
    void endLine();

    OnLine mOnLine;
    std::string mLine;
};
