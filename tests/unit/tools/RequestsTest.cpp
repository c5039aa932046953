#include "tools/Requests.h"

#include "tools/Failures.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

namespace {

std::string complaintOf(std::string const& text) {
    try {
        parseTagRequest(text, "the file");
        return "";
    } catch (Failure const& failure) {
        EXPECT_EQ(failure.status(), Failed);
        return failure.what();
    }
}

struct Unreadable {
    std::string text;
    char const* complaint;
};

class UnreadableRequest : public testing::TestWithParam<Unreadable> {};
class ReadableRequest : public testing::TestWithParam<char const*> {};

} // namespace

TEST_P(UnreadableRequest, IsNamedWithWhatWasExpected) {
    EXPECT_THAT(complaintOf(GetParam().text), HasSubstr(GetParam().complaint));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, UnreadableRequest,
    testing::Values(
        Unreadable{"", "the file is not JSON: Line 1, Column 1: "},
        Unreadable{"{\"tags\":", "the file is not JSON: Line 1, Column 9: "},
        Unreadable{"{\"tags\":[],}", "Missing '}' or object member name"},
        Unreadable{std::string(100000, '['),
                   "the file is not JSON that can be read: it nests too deep"},
        Unreadable{"{\"a\":\"\xFF\"}", "the file is not UTF-8 text"},
        Unreadable{std::string("{}\0", 3), "or holds a zero byte"},
        Unreadable{"[]", "the request is [], where an object such as"},
        Unreadable{"5", "the request is 5, where an object"},
        Unreadable{"null", "the request is null, where an object"},
        Unreadable{R"({"deviceID":"7","tags":[]})",
                   "deviceID is \"7\", where a whole number from -2147483648 to 2147483647 is"},
        Unreadable{R"({"deviceID":4294967295})", "deviceID is 4294967295, where"},
        Unreadable{R"({"tags":{"Name":"A"}})", "tags is {\"Name\":\"A\"}, where a list of tags"},
        Unreadable{R"({"tags":"A"})", "tags is \"A\", where a list of tags"},
        Unreadable{R"({"tags":[{}, 5]})", "tags[1] is 5, where an object with the fields of a tag"},
        Unreadable{R"({"tags":[[]]})", "tags[0] is [], where an object"},
        Unreadable{R"({"tags":[{"Name":["A"]}]})", "tags[0].Name is [\"A\"], where a text"},
        Unreadable{R"({"tags":[{"Artist":{}}]})", "tags[0].Artist is {}, where a text"},
        Unreadable{R"({"tags":[{"iTunesStationID":[]}]})", "tags[0].iTunesStationID is []"},
        Unreadable{R"({"tags":[{"iTunesSongID":"12"}]})",
                   "tags[0].iTunesSongID is \"12\", where a whole number"},
        Unreadable{R"({"tags":[{"iTunesSongID":2147483648}]})", "is 2147483648, where"},
        Unreadable{R"({"tags":[{"PodcastFeedURL":-2147483649}]})", "is -2147483649, where"},
        Unreadable{R"({"tags":[{"ProgramNumber":1e300}]})", "tags[0].ProgramNumber is 1"},
        Unreadable{R"({"tags":[{"iTunesStorefrontID":[1]}]})", "is [1], where a whole number"},
        Unreadable{R"({"tags":[{"ButtonPressed":"yes"}]})",
                   "tags[0].ButtonPressed is \"yes\", where true or false"}));

TEST_P(ReadableRequest, IsTaken) {
    EXPECT_EQ(complaintOf(GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ReadableRequest,
    testing::Values("{}", R"({"tags":null})", R"({"tags":[]})", R"({"tags":[{}]})",
                    R"({"tags":[{"Name":5,"Artist":true,"Album":null}]})",
                    R"({"tags":[{"iTunesSongID":2147483647,"ProgramNumber":-2147483648}]})",
                    R"({"tags":[{"iTunesSongID":1.5,"PodcastFeedURL":null}]})",
                    R"({"tags":[{"ButtonPressed":1},{"ButtonPressed":false}],"deviceID":-1})",
                    R"({"tags":[{"Colour":{"deep":[1]}}],"other":"x"})"));

TEST(Requests, ALongValueIsNotShown) {
    std::string const name = R"({"tags":[{"Name":[")" + std::string(100, 'x') + R"("]}]})";
    EXPECT_THAT(complaintOf(name),
                HasSubstr("tags[0].Name is a 104 bytes long value, where a text"));
}
