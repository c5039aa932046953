#include "radio/LineSplitter.h"

#include <algorithm>

void LineSplitter::feed(std::string_view bytes) {
    while (!bytes.empty()) {
        std::size_t const end = bytes.find('\n');
        keep(bytes.substr(0, end));
        if (end == std::string_view::npos) {
            return;
        }
        bytes.remove_prefix(end + 1);
        endLine();
    }
}

void LineSplitter::finish() {
    if (!mLine.empty()) {
        endLine();
    }
}

void LineSplitter::keep(std::string_view bytes) {
    mLine += bytes.substr(0, MAX_LINE_BYTES - mLine.size());
}

void LineSplitter::endLine() {
    std::string line;
    line.swap(mLine);
    while (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    mOnLine(line);
}
