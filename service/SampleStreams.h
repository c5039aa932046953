#pragma once

#include <array>

constexpr std::size_t SAMPLE_STREAM_COUNT = 7;

/**
 * Tag streams as a radio sends them, in pairs of hexadecimal digits with one blank between: four
 * single tags, then three ambiguous ones.
 */
std::array<char const*, SAMPLE_STREAM_COUNT> const& sampleStreams();
