#include "tools/Devices.h"

#include <gmock/gmock.h>

#include <json/reader.h>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

Json::Value parsed(std::string const& text) {
    Json::Value value;
    EXPECT_TRUE(Json::Reader().parse(text, value));
    return value;
}

} // namespace

TEST(DeviceNames, AreReadFromTheMediaServicesAnswer) {
    EXPECT_THAT(deviceNames(R"({"devices":[{"device":{"id":7,"name":"Ilsen's iPod"}},
                                           {"device":{"id":9}}]})"),
                ElementsAre(Pair(7, "Ilsen's iPod"), Pair(9, "")));
}

TEST(DeviceNames, AreNoneInAnswersOfAnotherShape) {
    for (char const* const answer :
         {"", "5", "[]", "{}", R"({"devices":5})", R"({"devices":[5,{"device":5},{"device":{}}]})",
          R"({"devices":[{"device":{"id":"7","name":"x"}}]})"}) {
        EXPECT_THAT(deviceNames(answer), IsEmpty()) << answer;
    }
}

TEST(DeviceIds, AreReadFromAConnectionStatus) {
    EXPECT_THAT(deviceIds(parsed(R"({"Devices":[9,7,"x"]})")), ElementsAre(9, 7));
    EXPECT_THAT(deviceIds(parsed("[1]")), IsEmpty());
    EXPECT_THAT(deviceIds(parsed("{}")), IsEmpty());
}

TEST(DevicesText, NamesWhatHasAName) {
    EXPECT_EQ(devicesText({7, 9, 5}, {{7, "Mine"}, {9, ""}}), "7 (Mine), 9, 5");
    EXPECT_EQ(devicesText({}, {}), "none");
}
