// Which node is opened for a mount point, when an iPod is asked for its capability and when it gets
// the tags.
#include "service/TaggingCapability.h"

#include "files/XMLTools.h"
#include "service/OpenedNodes.h"
#include "support/LogFile.h"
#include "support/StdoutOf.h"
#include "tagdata/CTagException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

using testing::ElementsAre;

void sendTags(std::string const& mountPoint) {
    stdoutOf([&] {
        try {
            XMLTools(0, false).WriteAppleXML("text", false, mountPoint);
        } catch (CTagException* exception) {
            std::unique_ptr<CTagException> const noSuchNode(exception);
        }
    });
}

TEST(OpenedNode, IsTheRootsOwnForAnEmptyMountPoint) {
    LogFile const log;
    OpenedNodes nodes;
    EXPECT_FALSE(supportsTagging(stdTools(), ""));
    EXPECT_THAT(nodes.paths, ElementsAre("/.FS_info./control"));
}

TEST(OpenedNode, BothOpenWhatStandsBeforeAZeroInTheMountPoint) {
    LogFile const log;
    OpenedNodes nodes;
    std::string const mountPoint("/no/such\0place", 14);
    EXPECT_FALSE(supportsTagging(stdTools(), mountPoint));
    sendTags(mountPoint);
    EXPECT_THAT(nodes.paths, ElementsAre("/no/such", "/no/such"));
}

} // namespace
