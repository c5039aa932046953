#include "fixtures/XmlReading.h"
#include "support/Corpus.h"

#include <gtest/gtest.h>
#include <libxml/xmlversion.h>
#include <sstream>

namespace {

/** From here on a damaged file reads differently around the damage, see docs/porting.md. */
constexpr int STOPS_AT_THE_DAMAGE = 21400;

/** The one file that is damaged for older versions alone. */
constexpr char PARAMETER_ENTITY[] = "<!DOCTYPE a [<!ENTITY % p 'x'> %p;]><a/>";

std::string without(std::string text, std::string const& word) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word)) {
        text.erase(at, word.size());
    }
    return text;
}

struct Reading {
    explicit Reading(std::string const& reads)
        : callbacks(reads.substr(0, reads.find('|'))), entries(reads.substr(reads.find('|'))) {}

    bool failed() const { return callbacks.find(" failed ") != std::string::npos; }
    std::string elements() const { return without(without(callbacks, "error "), "warning "); }

    std::string callbacks;
    std::string entries;
};

/** Fewer messages and no device ids from behind the damage, everything else as it was. */
void expectTheSameUpToTheDamage(Reading const& expected, Reading const& actual) {
    EXPECT_EQ(expected.elements(), actual.elements());
    EXPECT_NE(actual.callbacks.find("error "), std::string::npos);
    std::istringstream entries(actual.entries);
    for (std::string line; std::getline(entries, line);) {
        EXPECT_NE(expected.entries.find(line), std::string::npos) << line;
    }
}

void expectReading(corpus::Entry const& entry, std::string const& actual) {
    SCOPED_TRACE(entry.text);
    Reading const expected(entry.reads);
    if (LIBXML_VERSION < STOPS_AT_THE_DAMAGE || !expected.failed()) {
        EXPECT_EQ(entry.reads, actual);
    } else if (entry.text == PARAMETER_ENTITY) {
        EXPECT_EQ("error <a /a well-formed | ", actual);
    } else {
        expectTheSameUpToTheDamage(expected, Reading(actual));
    }
}

} // namespace

// What the files read as has been written with another version of the library, see
// tests/fixtures/README.md.
TEST(XmlCorpus, EveryFileReadsAsItAlwaysDid) {
    XmlReading reading;
    std::vector<corpus::Entry> const entries =
        corpus::load(SONGLATCH_SOURCE_DIR "/tests/fixtures/xml.txt");
    EXPECT_EQ(500U, entries.size());
    for (corpus::Entry const& entry : entries) {
        expectReading(entry, reading.of(entry.text));
    }
}

TEST(XmlCorpus, EveryDeviceIdOfALongFileIsFound) {
    constexpr int ENTRIES = 500;
    std::string lines;
    for (int number = 0; number < ENTRIES; ++number) {
        // Of all lengths, so that the end of a text comes to stand at every place of a buffer.
        std::string const id = std::to_string(4294967295U >> (number % 32));
        lines += "  <TagId Name=\"" + std::string(static_cast<std::size_t>(number), 'n')
                 + "\" Artist=\"\" iTunesSongID=\"\" Time=\"\">\n    <DeviceId>" + id
                 + "</DeviceId>\n  </TagId>\n";
    }
    std::string const read = XmlReading().of("<MarkedTracks>\n" + lines + "</MarkedTracks>\n");
    EXPECT_EQ("| " + lines, read.substr(read.find('|')));
}
