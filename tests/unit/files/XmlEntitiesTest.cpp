#include "FilesTest.h"
#include "support/StdoutOf.h"
#include "support/Thrown.h"
#include "tagdata/CTagIdMgr.h"

#include <libxml/xmlIO.h>

// What an entity becomes in each of the four files that are read, and that no file reaches outside
// itself through one.

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string const ENCODED = "a &amp; b &lt;c&gt; &quot;d&quot; &apos;e&apos; &#38; &#x26; &#65;";
std::string const RESOLVED = "a & b <c> \"d\" 'e' & & A";

std::vector<std::string> opened;

/** An input that matches no name and remembers each. */
int takeNote(char const* name) {
    opened.emplace_back(name);
    return 0;
}

class XmlEntities : public FilesTest {
protected:
    XmlEntities() { loadConfig(); }

    /** Every name that the parser asks for on its own while it loads the tags. */
    std::vector<std::string> askedForByLoadTags() {
        opened.clear();
        xmlRegisterDefaultInputCallbacks();
        xmlRegisterInputCallbacks(takeNote, nullptr, nullptr, nullptr);
        stdoutOf([&] { loadTags(); });
        xmlPopInputCallbacks();
        return opened;
    }

    /** The names in a Tags.xml of this document type; its one tag has the entity as its name. */
    std::vector<std::string> namesWith(std::string const& documentType) {
        writeData("Tags.xml", "<!DOCTYPE m " + documentType + "><m><Tag Name=\"[&e;]\"/></m>");
        std::vector<std::string> names;
        stdoutOf([&] { names = namesIn(loadTags()); });
        return names;
    }
};

} // namespace

TEST_F(XmlEntities, ArriveResolvedInTheConfiguration) {
    configure("<c><taggerConfiguration debugVerbosity=\"" + ENCODED
              + "\"/>"
                "<localStorage folder=\"/a&amp;b\"/></c>");
    std::unique_ptr<CConfigInfo> const read(tools.LoadConfig());
    EXPECT_EQ(read->debugVerbosity(), RESOLVED);
    EXPECT_EQ(read->localStorage(), "/a&b/");
}

TEST_F(XmlEntities, ArriveResolvedInTags) {
    writeData("Tags.xml", "<m><Tag Name=\"" + ENCODED + "\" iTunesSongID=\"1&amp;2\"/></m>");
    auto const tags = loadTags();
    ASSERT_EQ(tags->Count(), 1U);
    EXPECT_EQ(tags->PeekAt(0)->Name(), RESOLVED);
    EXPECT_EQ(tags->PeekAt(0)->iTunesSongID(), "1&2");
}

TEST_F(XmlEntities, ArriveResolvedInCandidates) {
    writeData("AmbigTag.xml", "<m><AmbigTag Name=\"" + ENCODED + "\"/></m>");
    EXPECT_THAT(namesIn(loadAmbigTags()), ElementsAre(RESOLVED));
}

TEST_F(XmlEntities, ArriveResolvedInTheRecordOfDeliveries) {
    writeData("TaggedInfo.xml", "<m><TagId Name=\"" + ENCODED + "\" Artist=\"x\"/></m>");
    CTagIdManager* const manager = tools.LoadTagIdMgr();
    ASSERT_EQ(manager->size(), 1U);
    EXPECT_EQ(manager->begin()->second->tagIdInfo().Name, RESOLVED);
}

TEST_F(XmlEntities, ArriveResolvedAfterACleanupOfTheLibraryToo) {
    writeData("Tags.xml", "<m><Tag Name=\"a&amp;b\"/></m>");
    for (int load = 0; load < 3; ++load) {
        EXPECT_THAT(namesIn(loadTags()), ElementsAre("a&b"));
    }
}

TEST_F(XmlEntities, OfAFileAreNeverDeclared) {
    EXPECT_TRUE(namesWith("[<!ENTITY e \"inside\">]").empty());
    EXPECT_TRUE(log.has("Error: XMLTools_LoadTags: Failed to parse document."));
}

TEST_F(XmlEntities, NeverOpenAnotherFile) {
    folder.write("secret", "the secret");
    folder.write("other.dtd", "<!ENTITY e \"the secret\">");
    std::string const uri = "file://" + folder.path() + "/";
    std::vector<std::string> const documentTypes = {
        "[<!ENTITY e SYSTEM \"" + uri + "secret\">]",
        "[<!ENTITY e SYSTEM \"" + folder.path("secret") + "\">]",
        "SYSTEM \"" + uri + "other.dtd\"",
        "SYSTEM \"" + folder.path("other.dtd") + "\"",
        "PUBLIC \"-//a//b//EN\" \"" + uri + "other.dtd\"",
        "[<!ENTITY % p SYSTEM \"" + uri + "other.dtd\"> %p;]",
        "[<!ENTITY % p SYSTEM \"" + folder.path("other.dtd") + "\"> %p; <!ENTITY e \"x\">]",
    };
    for (std::string const& documentType : documentTypes) {
        // With declarations that are well-formed, odd and ill-formed: the parser reads on.
        for (std::string const declaration :
             {"", "<?xml version=\"1.7\"?>", "<?xml version=\"1.0\" odd?>", "<?xml?>", "<?xml "}) {
            std::string const head = declaration + "<!DOCTYPE m " + documentType + "><m>";
            for (char const* const content : {"<Tag Name=\"[&e;]\"/>", "&e;<Tag Name=\"a\"/>"}) {
                writeData("Tags.xml", head + content + "</m>");
                EXPECT_THAT(askedForByLoadTags(), IsEmpty()) << head;
            }
        }
    }
}

TEST_F(XmlEntities, NamesOfFilesAreNoUrls) {
    folder.write("a b.conf", "<c/>");
    XMLTools::_CONFIGFILEPATH = folder.path("a%20b.conf");
    stdoutOf([&] { EXPECT_NE(thrownBy([&] { tools.LoadConfig(); }), nullptr); });
    XMLTools::_CONFIGFILEPATH = "file://" + folder.path("a%20b.conf");
    stdoutOf([&] { EXPECT_NE(thrownBy([&] { tools.LoadConfig(); }), nullptr); });
    folder.write("a%20b.conf", "<c><maxTagCount value=\"3\"/></c>");
    XMLTools::_CONFIGFILEPATH = folder.path("a%20b.conf");
    std::unique_ptr<CConfigInfo> const read(tools.LoadConfig());
    EXPECT_EQ(read->maxTagCount(), 3);
}

TEST_F(XmlEntities, ACompressedFileIsNoDocument) {
    // "<c/>" as gzip writes it.
    std::string const compressed("\x1f\x8b\x08\0\0\0\0\0\0\x03\xb3\x49\xd6\xb7\x03\0"
                                 "\xba\xc8\x55\x02\x04\0\0\0",
                                 24);
    folder.write("c.conf.gz", compressed);
    XMLTools::_CONFIGFILEPATH = folder.path("c.conf.gz");
    stdoutOf([&] { EXPECT_NE(thrownBy([&] { tools.LoadConfig(); }), nullptr); });
    // Nor is it taken for one that is missing.
    XMLTools::_CONFIGFILEPATH = folder.path("c.conf");
    EXPECT_NE(thrownBy([&] { tools.LoadConfig(); }), nullptr);
}

TEST_F(XmlEntities, AHyphenIsTheNameOfAFile) {
    std::string const before = std::filesystem::current_path().string();
    std::filesystem::current_path(folder.path());
    folder.write("-", "<c><maxTagCount value=\"4\"/></c>");
    XMLTools::_CONFIGFILEPATH = "-";
    std::unique_ptr<CConfigInfo> const read(tools.LoadConfig());
    std::filesystem::current_path(before);
    EXPECT_EQ(read->maxTagCount(), 4);
}

TEST_F(XmlEntities, AMissingFilePrintsNothingOnStandardError) {
    XMLTools::_CONFIGFILEPATH = folder.path("missing.conf");
    testing::internal::CaptureStderr();
    stdoutOf([&] { EXPECT_NE(thrownBy([&] { tools.LoadConfig(); }), nullptr); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(XmlEntities, ThatMultiplyDoNoHarm) {
    std::string laughs = "[<!ENTITY e0 \"" + std::string(1000, 'h') + "\">";
    for (int level = 1; level < 12; ++level) {
        std::string const inner = "&e" + std::to_string(level - 1) + ";";
        laughs += "<!ENTITY e" + std::to_string(level) + " \"";
        for (int times = 0; times < 10; ++times) {
            laughs += inner;
        }
        laughs += "\">";
    }
    EXPECT_TRUE(namesWith(laughs + "<!ENTITY e \"&e11;\">]").empty());
}
