#include "rig/ReportStream.h"

#include "ReportLines.h"

#include <csignal>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TEST(ReportStream, WritesOneObjectALine) {
    ReportLines lines;
    Json::Value fields;
    fields["id"] = 7;
    lines.stream().line("attached", fields);
    lines.stream().line("ready");
    lines.stream().error("no such thing");
    EXPECT_EQ("{\"event\":\"attached\",\"id\":7}\n", lines.text(0));
    EXPECT_EQ("{\"event\":\"ready\"}\n", lines.text(1));
    EXPECT_EQ("{\"event\":\"error\",\"message\":\"no such thing\"}\n", lines.text(2));
}

TEST(ReportStream, LinesOfSeveralThreadsStayWhole) {
    ReportLines lines;
    Json::Value fields;
    fields["text"] = std::string(10000, 'x');
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 50; ++k) {
                lines.stream().line("long", fields);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    auto const all = lines.all();
    ASSERT_EQ(200U, all.size());
    for (auto const& line : all) {
        EXPECT_EQ(10000U, line["text"].asString().size());
    }
}

TEST(ReportStream, AReaderThatIsGoneCostsTheLine) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    close(ends[0]);
    std::signal(SIGPIPE, SIG_IGN);
    ReportStream(ends[1]).line("ready");
    close(ends[1]);
}

} // namespace
