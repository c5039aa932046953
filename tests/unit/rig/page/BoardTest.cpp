#include "rig/page/Board.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

using namespace std::chrono_literals;

TEST(Board, AClientGetsEverythingAndThenWhatIsNew) {
    Board board;
    Board::Cursor cursor = 0;
    EXPECT_TRUE(board.since(cursor).empty());
    board.set("a", 1);
    board.set("b", 2);
    board.append("log", Json::objectValue);
    Json::Value const all = board.since(cursor);
    EXPECT_EQ(1, all["values"]["a"].asInt());
    EXPECT_EQ(2, all["values"]["b"].asInt());
    EXPECT_EQ(1, all["streams"]["log"][0]["n"].asInt());
    board.set("b", 3);
    Json::Value const news = board.since(cursor);
    EXPECT_FALSE(news["values"].isMember("a"));
    EXPECT_EQ(3, news["values"]["b"].asInt());
    EXPECT_FALSE(news.isMember("streams"));
    EXPECT_TRUE(board.since(cursor).empty());
    EXPECT_EQ(3, board.value("b").asInt());
    EXPECT_TRUE(board.value("c").isNull());
}

TEST(Board, AValueThatStaysTheSameIsNoNews) {
    Board board;
    Board::Cursor cursor = 0;
    board.set("a", 1);
    board.since(cursor);
    board.set("a", 1);
    EXPECT_FALSE(board.waitForNews(cursor, 0ms));
    board.set("null", Json::Value());
    EXPECT_TRUE(board.waitForNews(cursor, 0ms)) << "a first value is, whatever it is";
}

TEST(Board, WhoReadsSlowlyMissesTheOldest) {
    Board board;
    for (std::size_t i = 0; i < 2 * Board::STREAM_LENGTH; ++i) {
        board.append("log", Json::objectValue);
    }
    Board::Cursor cursor = 0;
    Json::Value const log = board.since(cursor)["streams"]["log"];
    ASSERT_EQ(Board::STREAM_LENGTH, log.size());
    EXPECT_EQ(Board::STREAM_LENGTH + 1, log[0]["n"].asUInt64());
    EXPECT_EQ(2 * Board::STREAM_LENGTH, log[log.size() - 1]["n"].asUInt64());
}

TEST(Board, NewsAndItsEndWakeWhoWaits) {
    Board board;
    std::thread writer([&] { board.set("a", 1); });
    EXPECT_TRUE(board.waitForNews(0, 1h));
    writer.join();
    Board::Cursor cursor = 0;
    board.since(cursor);
    std::thread closer([&] { board.close(); });
    EXPECT_TRUE(board.waitForNews(cursor, 1h));
    closer.join();
    EXPECT_TRUE(board.closed());
}

} // namespace
