#pragma once

#include "files/CConfigInfo.h"
#include "files/XMLTools.h"
#include "support/LogFile.h"
#include "support/TempDir.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CLinkedList.h"
#include "tagdata/CTag.h"
#include "tagdata/TagFields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

constexpr char EMPTY_DOCUMENT[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                  "<MarkedTracks>\n"
                                  "</MarkedTracks>\n";

/** A local file with these lines between head and end. */
inline std::string localFile(std::string const& lines) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MarkedTracks>\n" + lines
           + "</MarkedTracks>\n";
}

/** A record of its own name, artist and song id; new if it was taken in during this run. */
template <class Tag = CTag>
std::unique_ptr<Tag> makeTag(std::string name, bool isNew = false) {
    auto tag = std::make_unique<Tag>();
    tag->Artist("Artist of " + name);
    tag->iTunesSongID("100");
    tag->Name(std::move(name));
    tag->NewTagFlag(isNew);
    return tag;
}

inline std::unique_ptr<CAmbigTag> makeCandidate(std::string name, int button, bool isNew = false) {
    auto tag = makeTag<CAmbigTag>(std::move(name), isNew);
    tag->ButtonPressed(button);
    return tag;
}

template <class Tag, class... More>
ListOwner<Tag> listOf(std::unique_ptr<Tag> first, More... more) {
    ListOwner<Tag> list = makeList<Tag>();
    list->AddRear(first.release());
    (list->AddRear(more.release()), ...);
    return list;
}

template <class Tag>
std::vector<std::string> namesIn(ListOwner<Tag> const& list) {
    std::vector<std::string> names;
    for (Tag const* const tag : *list) {
        names.push_back(tag->Name());
    }
    return names;
}

/** A folder with a configuration that points to it, a log of its own, and a loaded XMLTools. */
class FilesTest : public testing::Test {
protected:
    FilesTest() : mConfigBefore(XMLTools::_CONFIGFILEPATH) {
        XMLTools::_CONFIGFILEPATH = folder.path("Songlatch.conf");
        configure("<configuration><localStorage folder=\"" + folder.path("data")
                  + "\"/>"
                    "<maxTagCount value=\"10\"/></configuration>");
        std::filesystem::create_directory(folder.path("data"));
    }
    ~FilesTest() override { XMLTools::_CONFIGFILEPATH = mConfigBefore; }

    void configure(std::string const& text) const { folder.write("Songlatch.conf", text); }

    /** Fills the paths of the XMLTools, and leaves no line of it in the log. */
    void loadConfig() {
        config.reset(tools.LoadConfig());
        log.clear();
    }

    void writeData(std::string const& name, std::string const& text) const {
        folder.write("data/" + name, text);
    }
    std::string readData(std::string const& name) const { return folder.read("data/" + name); }
    std::string dataPath(std::string const& name) const { return folder.path("data/" + name); }

    ListOwner<CTag> loadTags() { return ListOwner<CTag>(tools.LoadTags()); }
    ListOwner<CAmbigTag> loadAmbigTags() { return ListOwner<CAmbigTag>(tools.LoadAmbigTags()); }

    /** The lists that one file of this text gives. */
    ListOwner<CTag> tagsIn(std::string const& text) {
        loadConfig();
        writeData("Tags.xml", text);
        return loadTags();
    }
    ListOwner<CAmbigTag> candidatesIn(std::string const& text) {
        loadConfig();
        writeData("AmbigTag.xml", text);
        return loadAmbigTags();
    }

    TempDir folder;
    LogFile log;
    XMLTools tools{0, false};
    std::unique_ptr<CConfigInfo> config;

private:
    std::string mConfigBefore;
};
