#pragma once

#include "Streams.h"
#include "support/Thrown.h"
#include "tagdata/HexParser.h"

#include <gmock/gmock.h>

#include <memory>
#include <vector>

// Runs of the decoders, for tests in a line or two.

inline std::unique_ptr<CTag> decodeSingle(Bytes const& stream) {
    return std::unique_ptr<CTag>(CHexParser(0, false).ParseSingle(listOf(stream).get()));
}

inline ListOwner<CAmbigTag> decodeAmbig(Bytes const& stream) {
    return ListOwner<CAmbigTag>(CHexParser(0, false).ParseAmbig(listOf(stream).get()));
}

struct DecodedCandidate {
    Values values;
    int button = 0;

    bool operator==(DecodedCandidate const& other) const {
        return values == other.values && button == other.button;
    }
};

inline std::vector<DecodedCandidate> candidatesOf(Bytes const& stream) {
    std::vector<DecodedCandidate> candidates;
    ListOwner<CAmbigTag> const decoded = decodeAmbig(stream);
    for (CAmbigTag const* const candidate : *decoded) {
        candidates.push_back({valuesOf(*candidate), candidate->ButtonPressed()});
    }
    return candidates;
}

/** Whether the one failure of the decoders was thrown. */
inline bool isMalformed(std::unique_ptr<CTagException> const& thrown) {
    return thrown && thrown->ExCode() == CTagException::ExBadIndex
           && thrown->Message() == "Malformed Tag Sequence" && thrown->SystemError == -1;
}

inline bool isMalformedSingle(Bytes const& stream) {
    return isMalformed(thrownBy([&] { decodeSingle(stream); }));
}

inline bool isMalformedAmbig(Bytes const& stream) {
    return isMalformed(thrownBy([&] { decodeAmbig(stream); }));
}
