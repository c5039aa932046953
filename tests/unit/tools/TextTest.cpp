#include "tools/Text.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

std::string printed(Table const& table, bool colour) {
    std::ostringstream out;
    table.print(out, Style(colour));
    return out.str();
}

} // namespace

TEST(Printable, LeavesLettersOfAnyScript) {
    EXPECT_EQ(printable("Käse, 東京, Привет, 🎵"), "Käse, 東京, Привет, 🎵");
}

TEST(Printable, TakesAwayWhatSteersATerminal) {
    EXPECT_EQ(printable("a\033[31mb\tc\nd\x7F"), "a?[31mb?c?d?");
    EXPECT_EQ(printable("\u0085 \u009F"), "? ?");
    EXPECT_EQ(printable("\u202Eeltit\u2066 \u200F\u2029"), "?eltit? ??");
    EXPECT_EQ(printable(std::string("a\0b", 3)), "a?b");
}

TEST(Printable, TakesAwayWhatIsNoUtf8) {
    EXPECT_EQ(printable("\xFFok\xC3"), "?ok?");
    EXPECT_EQ(printable("\xC3("), "?(");
}

TEST(DisplayWidth, IsThatOfTheLettersAndNotOfTheBytes) {
    EXPECT_EQ(displayWidth(""), 0U);
    EXPECT_EQ(displayWidth("Käse"), 4U);
    EXPECT_EQ(displayWidth("東京"), 4U);
    EXPECT_EQ(displayWidth("e\u0301"), 1U);
}

TEST(IsUtf8, RefusesOtherBytesAndZero) {
    EXPECT_TRUE(isUtf8("Käse"));
    EXPECT_FALSE(isUtf8("\xC3"));
    EXPECT_FALSE(isUtf8(std::string("a\0b", 3)));
}

TEST(Counted, KnowsOneFromMany) {
    EXPECT_EQ(counted(0, "tag"), "0 tags");
    EXPECT_EQ(counted(1, "tag"), "1 tag");
    EXPECT_EQ(counted(2, "tag"), "2 tags");
}

TEST(Table, PutsColumnsBelowEachOther) {
    Table table({"A", "Title", "End"});
    table.add({"1", "東京", "x"});
    table.add({"22", "Käsebrot"});
    EXPECT_EQ(printed(table, false), "A   Title     End\n1   東京      x\n22  Käsebrot\n");
}

TEST(Table, MarksItsHeadsWhereThereAreColours) {
    Table table({"A"});
    table.add({"1"});
    EXPECT_EQ(printed(table, true), "\033[1mA\033[0m\n1\n");
}

TEST(Table, WithoutHeadsMarksNothing) {
    Table table;
    table.add({"a", "1"});
    table.add({"bcd", ""});
    EXPECT_EQ(printed(table, true), "a    1\nbcd\n");
}

TEST(Table, MakesCellsPrintable) {
    Table table;
    table.add({"a\033"});
    EXPECT_EQ(printed(table, false), "a?\n");
}

TEST(Style, MarksOnlyWithColours) {
    EXPECT_EQ(Style(false).bad("x") + Style(false).good("x") + Style(false).doubtful("x"), "xxx");
    EXPECT_EQ(Style(true).good("x"), "\033[32mx\033[0m");
    EXPECT_EQ(Style(true).doubtful("x"), "\033[33mx\033[0m");
    EXPECT_EQ(Style(true).bad("x"), "\033[1;31mx\033[0m");
}

TEST(Times, AreLocalForPeopleAndUtcForPrograms) {
    std::time_t const moment = 1779033849;
    EXPECT_EQ(utcTime(moment), "2026-05-17T16:04:09Z");
    EXPECT_THAT(localTime(moment), testing::MatchesRegex("2026-05-1[678] [0-9:]{8}"));
}
