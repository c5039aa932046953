#pragma once

#include <limits>

/** Gives out the numbers 1, 2, ... 0xFFFFFFFF, 1, ...; never 0, which stands for "no id". */
class IdCounter {
public:
    IdCounter() = default;
    /** Goes on behind `last`. */
    explicit IdCounter(unsigned int last) : m_last(last) {}

    unsigned int next() {
        m_last = m_last == std::numeric_limits<unsigned int>::max() ? 1 : m_last + 1;
        return m_last;
    }

private:
    unsigned int m_last = 0;
};
