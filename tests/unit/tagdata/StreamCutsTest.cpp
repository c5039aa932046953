// Streams cut off at every place, against a reading of the layout of its own (StreamModel.h).
#include "Decoding.h"
#include "StreamModel.h"
#include "service/SampleStreams.h"

#include <gmock/gmock.h>

#include <random>

namespace {

Bytes sample(std::size_t index) {
    ListOwner<unsigned int> const list(CHexParser(0, false).StringToList(sampleStreams()[index]));
    return bytesOf(*list);
}

void expectSingleAsInTheModel(Bytes const& stream) {
    std::optional<Values> const expected = model::single(stream);
    if (expected) {
        EXPECT_EQ(valuesOf(*decodeSingle(stream)), *expected) << stream.size() << " bytes";
    } else {
        EXPECT_TRUE(isMalformedSingle(stream)) << stream.size() << " bytes";
    }
}

void expectAmbiguousAsInTheModel(Bytes const& stream) {
    auto const expected = model::ambiguous(stream);
    if (!expected) {
        EXPECT_TRUE(isMalformedAmbig(stream)) << stream.size() << " bytes";
        return;
    }
    std::vector<DecodedCandidate> const candidates = candidatesOf(stream);
    ASSERT_EQ(candidates.size(), expected->size());
    for (std::size_t index = 0; index < candidates.size(); ++index) {
        EXPECT_EQ(candidates[index].values, (*expected)[index].first);
        EXPECT_EQ(candidates[index].button, (*expected)[index].second);
    }
}

/** The size from which on the prefixes of a stream decode, its own size plus 1 if none does. */
template <class IsMalformed>
std::size_t shortestAccepted(Bytes const& stream, IsMalformed const& isMalformedStream) {
    std::size_t size = 0;
    while (size <= stream.size() && isMalformedStream(prefix(stream, size))) {
        ++size;
    }
    return size;
}

/** Streams with lengths of every kind, the texts of which are digits where a number stands. */
class Streams {
public:
    Fields fields() {
        Fields made;
        for (std::size_t field = 0; field < FieldCount; ++field) {
            if (std::size_t const length = pick(3) == 0 ? 0 : pick(5); length != 0) {
                made[static_cast<Field>(field)] = text(static_cast<Field>(field), length);
            }
        }
        return made;
    }

    std::string button() { return std::string(1, static_cast<char>('0' + pick(9))); }

private:
    std::string text(Field field, std::size_t length) {
        std::string made;
        bool const isNumber = field == ProgramNumber || field == StorefrontId;
        while (made.size() < length) {
            made += static_cast<char>(isNumber ? '1' + pick(8) : pick(255));
        }
        return made;
    }

    std::size_t pick(std::size_t largest) {
        return std::uniform_int_distribution<std::size_t>(0, largest)(mRandom);
    }

    std::mt19937 mRandom{20100301};
};

constexpr int RANDOM_STREAMS = 100;

} // namespace

class SingleSampleCuts : public testing::TestWithParam<std::size_t> {};

TEST_P(SingleSampleCuts, EveryPrefixDecodesAsItsLengthsSay) {
    Bytes const stream = sample(GetParam());
    for (std::size_t size = 0; size <= stream.size(); ++size) {
        expectSingleAsInTheModel(prefix(stream, size));
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, SingleSampleCuts, testing::Values(0, 1, 2, 3));

class AmbiguousSampleCuts : public testing::TestWithParam<std::size_t> {};

TEST_P(AmbiguousSampleCuts, EveryPrefixDecodesAsItsLengthsSay) {
    Bytes const stream = sample(GetParam());
    for (std::size_t size = 0; size <= stream.size(); ++size) {
        expectAmbiguousAsInTheModel(prefix(stream, size));
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, AmbiguousSampleCuts, testing::Values(4, 5, 6));

TEST(StreamCuts, ASingleSampleMayLoseItsButtonAndItsFrequencyAndNoMore) {
    std::vector<std::size_t> shortest;
    for (std::size_t const index : {0U, 1U, 2U, 3U}) {
        shortest.push_back(shortestAccepted(sample(index), isMalformedSingle));
    }
    EXPECT_THAT(shortest, testing::ElementsAre(106, 51, 65, 73));
}

TEST(StreamCuts, AnAmbiguousSampleMayLoseNothing) {
    std::vector<std::size_t> shortest;
    for (std::size_t const index : {4U, 5U, 6U}) {
        shortest.push_back(shortestAccepted(sample(index), isMalformedAmbig));
    }
    EXPECT_THAT(shortest, testing::ElementsAre(152, 140, 144));
}

TEST(StreamCuts, EveryPrefixOfManySingleStreamsDecodesAsItsLengthsSay) {
    Streams streams;
    for (int round = 0; round < RANDOM_STREAMS; ++round) {
        Bytes const stream = singleStream(streams.fields());
        for (std::size_t size = 0; size <= stream.size(); ++size) {
            expectSingleAsInTheModel(prefix(stream, size));
        }
    }
}

TEST(StreamCuts, EveryPrefixOfManyAmbiguousStreamsDecodesAsItsLengthsSay) {
    Streams streams;
    for (int round = 0; round < RANDOM_STREAMS; ++round) {
        Bytes const stream = ambiguousStream({streams.fields(), streams.button()},
                                             {streams.fields(), streams.button()});
        for (std::size_t size = 0; size <= stream.size(); ++size) {
            expectAmbiguousAsInTheModel(prefix(stream, size));
        }
    }
}
