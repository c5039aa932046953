#include "support/PrivateBus.h"
#include "RawClient.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace {

/** Lets temporary files go to a folder for a while. */
class TemporaryFiles {
public:
    explicit TemporaryFiles(std::string const& folder)
        : mBefore(std::filesystem::temp_directory_path()) {
        setenv("TMPDIR", folder.c_str(), 1);
    }
    ~TemporaryFiles() { setenv("TMPDIR", mBefore.c_str(), 1); }
    TemporaryFiles(TemporaryFiles const&) = delete;
    TemporaryFiles& operator=(TemporaryFiles const&) = delete;

private:
    std::string mBefore;
};

TEST(PrivateBusFolder, MayHaveAnyName) {
    TempDir const folder;
    std::string const odd = folder.path("a b ü&'%;,");
    std::filesystem::create_directory(odd);
    TemporaryFiles const there(odd);
    PrivateBus const bus;
    EXPECT_EQ(0U, bus.folder().path().find(odd));
    RawClient const client(bus.address());
    EXPECT_NE("", client.name());
}

} // namespace
