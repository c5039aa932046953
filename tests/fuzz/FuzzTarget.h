#pragma once

#include "../unit/tagdata/Streams.h"
#include "support/Thrown.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/** What libFuzzer calls, and what the replay driver calls in its place. */
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

/** Ends the process, which is how a fuzz target reports what it found. */
inline void require(bool holds, char const* what) {
    if (!holds) {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

inline Bytes bytesOf(std::uint8_t const* data, std::size_t size) {
    return {data, data + size};
}

/** Runs a decoder: true if it gave a result, false if it refused the stream in its one way. */
template <class Decode>
bool decodes(Decode const& decode) {
    std::unique_ptr<CTagException> const thrown = thrownBy(decode);
    if (!thrown) {
        return true;
    }
    require(thrown->ExCode() == CTagException::ExBadIndex, "a refusal has a bad index's code");
    require(thrown->Message() == "Malformed Tag Sequence", "a refusal has one message");
    return false;
}

/** Compares all fields but the numbers, whose texts the model doesn't read. */
inline void requireTexts(Values decoded, Values expected) {
    for (Values* const values : {&decoded, &expected}) {
        (*values)[ProgramNumber].clear();
        (*values)[StorefrontId].clear();
    }
    require(decoded == expected, "the fields are those that the lengths announce");
}
