#include "tools/ExchangedFile.h"

#include "support/TempDir.h"
#include "tools/Failures.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

namespace {

/** A file, and another process that writes at chosen moments: each one a turn of its own. */
class Exchange : public testing::Test {
protected:
    Exchange() { mFolder.write("file", "old"); }

    /** Runs the turns one after the other, each time that quiet is asked for. */
    bool replaceWith(std::string const& bytes, std::vector<std::function<void()>> turns) {
        std::size_t next = 0;
        ExchangedFile file(mFolder.path("file"), [&] {
            if (next < turns.size()) {
                turns[next++]();
            }
        });
        return file.replace("old", bytes);
    }

    /** Writes by the name, as who opens the file now. */
    void writeByName(std::string const& bytes) { mFolder.write("file", bytes); }

    TempDir mFolder;
};

} // namespace

TEST_F(Exchange, PutsTheNewBytesInThePlaceOfTheOld) {
    EXPECT_TRUE(replaceWith("new", {}));
    EXPECT_EQ(mFolder.read("file"), "new");
}

TEST_F(Exchange, GoesBackIfTheFileWasWrittenBefore) {
    writeByName("newer");
    EXPECT_FALSE(replaceWith("new", {}));
    EXPECT_EQ(mFolder.read("file"), "newer");
}

TEST_F(Exchange, GoesBackIfAWriterHadOpenedTheFileBefore) {
    std::ofstream opened(mFolder.path("file"), std::ios::app);
    EXPECT_FALSE(replaceWith("new", {[&] { opened << " and more" << std::flush; }}));
    EXPECT_EQ(mFolder.read("file"), "old and more");
}

TEST_F(Exchange, LeavesWhatIsWrittenByNameMeanwhile) {
    EXPECT_TRUE(replaceWith("new", {[&] { writeByName("newest"); }}));
    EXPECT_EQ(mFolder.read("file"), "newest");
}

TEST_F(Exchange, KeepsTheNewestOfTwoThatWereWrittenMeanwhile) {
    std::ofstream opened(mFolder.path("file"), std::ios::app);
    EXPECT_FALSE(replaceWith("new", {[&] {
                                 opened << " cleared" << std::flush;
                                 writeByName("newest");
                             }}));
    EXPECT_EQ(mFolder.read("file"), "newest");
}

TEST_F(Exchange, LeavesNothingBeside) {
    replaceWith("new", {});
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(mFolder.path()), {}), 1);
}

TEST_F(Exchange, FollowsALink) {
    mFolder.write("real", "old");
    mFolder.remove("file");
    std::filesystem::create_symlink("real", mFolder.path("file"));
    EXPECT_TRUE(replaceWith("new", {}));
    EXPECT_TRUE(std::filesystem::is_symlink(mFolder.path("file")));
    EXPECT_EQ(mFolder.read("real"), "new");
}

TEST_F(Exchange, GoesOnWithoutAnAnswerOnceItHasBegun) {
    EXPECT_TRUE(replaceWith("new", {[] { throw Failure("no answer"); }}));
    EXPECT_EQ(mFolder.read("file"), "new");
}

TEST_F(Exchange, FailsWithoutAFile) {
    mFolder.remove("file");
    EXPECT_THROW(replaceWith("new", {}), Failure);
    EXPECT_TRUE(std::filesystem::is_empty(mFolder.path()));
}
