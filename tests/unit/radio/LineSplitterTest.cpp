#include "radio/LineSplitter.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Lines {
    std::vector<std::string> taken;
    LineSplitter splitter{[this](std::string_view line) { taken.emplace_back(line); }};
};

} // namespace

TEST(LineSplitter, MakesTheSameLinesOfPiecesOfAnySize) {
    std::string const input = "one\ntwo\r\n\n three \nfour\r\r\nrest";
    for (std::size_t piece = 1; piece <= input.size(); ++piece) {
        Lines lines;
        for (std::size_t at = 0; at < input.size(); at += piece) {
            lines.splitter.feed(std::string_view(input).substr(at, piece));
        }
        EXPECT_THAT(lines.taken, ElementsAre("one", "two", "", " three ", "four")) << piece;
        lines.splitter.finish();
        EXPECT_EQ(lines.taken.back(), "rest");
    }
}

TEST(LineSplitter, AFinishedLineIsNotContinued) {
    Lines lines;
    lines.splitter.feed("half");
    lines.splitter.finish();
    lines.splitter.feed("whole\n");
    lines.splitter.finish();
    EXPECT_THAT(lines.taken, ElementsAre("half", "whole"));
}

TEST(LineSplitter, NothingIsNoLine) {
    Lines lines;
    lines.splitter.feed("");
    lines.splitter.finish();
    EXPECT_THAT(lines.taken, IsEmpty());
}

TEST(LineSplitter, OfALineOfMegabytesTheBeginningIsKept) {
    Lines lines;
    std::string const piece(100000, 'x');
    for (int count = 0; count < 50; ++count) {
        lines.splitter.feed(piece);
    }
    lines.splitter.feed("\nnext\n");
    EXPECT_THAT(lines.taken, ElementsAre(std::string(LineSplitter::MAX_LINE_BYTES, 'x'), "next"));
}

TEST(LineSplitter, ZeroBytesAreBytes) {
    Lines lines;
    lines.splitter.feed(std::string_view("a\0b\n", 4));
    EXPECT_THAT(lines.taken, ElementsAre(std::string("a\0b", 3)));
}
