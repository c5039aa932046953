#include "radio/Programme.h"

#include <gtest/gtest.h>

TEST(Station, NewsReplaceWhatTheySayAndLeaveTheRest) {
    Station station;
    station.update({"QBAY", "Best", "US", "1", {{1, {"HD1", "Rock"}}}});
    station.update({"", "Rest", "", "", {{1, {"", "Jazz"}}, {2, {"HD2", ""}}}});
    EXPECT_EQ(station.name, "QBAY");
    EXPECT_EQ(station.slogan, "Rest");
    EXPECT_EQ(station.country, "US");
    EXPECT_EQ(station.facilityId, "1");
    EXPECT_EQ(station.programs[1].name, "HD1");
    EXPECT_EQ(station.programs[1].type, "Jazz");
    EXPECT_EQ(station.programs[2].name, "HD2");
    station.update({"QRDO", "", "CA", "2", {}});
    EXPECT_EQ(station.name + station.slogan + station.country + station.facilityId, "QRDORestCA2");
}
