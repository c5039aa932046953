#include "files/safe/QuietConfig.h"

#include "FilesTest.h"
#include "support/Corpus.h"
#include "support/StdoutOf.h"
#include "support/Thrown.h"

#include <filesystem>

using testing::IsEmpty;

namespace {

std::string valuesOf(CConfigInfo const& config) {
    return config.debugVerbosity() + '|' + stdTools::toString(config.multiples_enable()) + '|'
           + config.multiples_choose() + '|' + stdTools::toString(config.maxTagCount()) + '|'
           + config.localStorage() + '|' + stdTools::toString(config.safeKeeping()) + '|'
           + stdTools::toString(config.driverDeadline());
}

class QuietConfigTest : public testing::Test {
protected:
    QuietConfigTest() { XMLTools::_CONFIGFILEPATH = path; }
    ~QuietConfigTest() override { XMLTools::_CONFIGFILEPATH = before; }

    void write(std::string const& text) const { folder.write("Songlatch.conf", text); }

    std::string read() {
        std::shared_ptr<CConfigInfo const> const config = quiet.read(path);
        return config == nullptr ? "unreadable" : valuesOf(*config);
    }

    /** What the default way of working makes of the file. */
    std::string loaded() const {
        std::string values = "unreadable";
        stdoutOf([&] {
            thrownBy([&] {
                std::unique_ptr<CConfigInfo> const config(XMLTools(0, false).LoadConfig());
                values = valuesOf(*config);
            });
        });
        return values;
    }

    TempDir folder;
    LogFile log;
    QuietConfig quiet;
    std::string const before = XMLTools::_CONFIGFILEPATH;
    std::string const path = folder.path("Songlatch.conf");
};

std::string limitOf(char const* value) {
    return std::string("<c><maxTagCount value=\"") + value + "\"/></c>";
}

} // namespace

TEST_F(QuietConfigTest, ReadsEveryFileAsALoadDoes) {
    std::vector<std::string> texts = {
        "",
        limitOf("7"),
        limitOf("none"),
        "\xEF\xBB\xBF" + limitOf("8"),
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><c><localStorage folder=\"/\xE9\"/></c>",
        "<c><localStorage folder=\"/\xE9\"/></c>",
        "<c><localStorage folder=\"/a&amp;b&#38;\"/><multiples enabled=\"true\" choose=\"x\"/></c>",
        std::string("<c>\0</c>", 8),
        limitOf("9") + "rest",
        std::string(10000, ' ') + limitOf("9"),
        limitOf("9") + std::string(10000, ' '),
        std::string("\xFF\xFE<\0c\0/\0>\0", 10),
    };
    for (corpus::Entry const& entry :
         corpus::load(SONGLATCH_SOURCE_DIR "/tests/fixtures/xml.txt")) {
        texts.push_back(entry.text);
    }
    for (std::string const& text : texts) {
        write(text);
        EXPECT_EQ(read(), loaded()) << text;
    }
}

TEST_F(QuietConfigTest, ReadsAFileThatWasChanged) {
    for (char const* const limit : {"3", "4", "bad", "4"}) {
        write(limitOf(limit));
        EXPECT_EQ(read(), loaded()) << limit;
        EXPECT_EQ(read(), loaded()) << limit << " once more";
    }
}

TEST_F(QuietConfigTest, SeesThatAFileHasGoneAndComeBack) {
    write(limitOf("3"));
    std::string const values = read();
    std::filesystem::remove(path);
    EXPECT_EQ(read(), "unreadable");
    std::filesystem::create_directory(path);
    EXPECT_EQ(read(), "unreadable");
    std::filesystem::remove(path);
    write(limitOf("3"));
    EXPECT_EQ(read(), values);
}

TEST_F(QuietConfigTest, SaysNothing) {
    for (char const* const text : {"<c/>", "<half"}) {
        write(text);
        EXPECT_EQ(stdoutOf([&] { read(); }), "");
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}
