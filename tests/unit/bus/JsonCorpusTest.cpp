#include "bus/JsonText.h"
#include "support/Corpus.h"

#include <gtest/gtest.h>
#include <json/writer.h>

namespace {

std::string readAs(std::string const& text) {
    Json::Value value;
    return parseJson(text, value) ? Json::FastWriter().write(value) : "refused";
}

} // namespace

// What the texts read as has been written by another reader, see tests/fixtures/README.md.
TEST(JsonCorpus, EveryTextReadsAsItAlwaysDid) {
    std::vector<corpus::Entry> const entries = corpus::load(SONGLATCH_FIXTURES "/json.txt");
    EXPECT_EQ(500U, entries.size());
    for (corpus::Entry const& entry : entries) {
        EXPECT_EQ(entry.reads, readAs(entry.text)) << entry.text;
    }
}
