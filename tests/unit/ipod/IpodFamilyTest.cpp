#include "ipod/ipodlib.h"

#include "support/DriverLinkPage.h"
#include "support/RawDriver.h"
#include "support/ServedNode.h"
#include "support/TempDir.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr char CONTROL[] = "/.FS_info./control";

/** A value for the n-th argument that no other argument has, in no byte. */
constexpr std::uint32_t a(unsigned int n) {
    return n * 0x10U + 0xC3020100U + (n << 24U);
}

/** What the caller of a function hands over for data. */
struct Memory {
    static constexpr char MARK = '\x5A';

    std::string first = std::string(256, MARK);
    std::string second = std::string(256, MARK);
};

struct Field {
    std::size_t offset;
    std::uint64_t value;
    int width = 4;
};

enum class Into { Word, First, Second, Nowhere };

struct Received {
    Into into;
    std::size_t size;
};

enum class Result {
    OfTheSend,      ///< what the driver returned
    WordOnSuccess,  ///< the word if the driver returned 0
    WordOrMinusOne, ///< the word if the driver returned 0, else -1
    TwoBytes        ///< an unsigned 16-bit number if the driver returned 0
};

struct Row {
    std::string name;
    std::uint16_t code;
    std::size_t size;
    std::vector<Field> body;
    std::string behind; ///< what is sent behind the request
    std::vector<Received> received;
    Result result;
    std::function<int(int, Memory&)> call;
};

std::string z(std::string const& text) {
    return text + '\0';
}

constexpr Result SEND = Result::OfTheSend;
constexpr Result WORD = Result::WordOnSuccess;
constexpr Received TheWord{Into::Word, 4};
constexpr Received First(std::size_t size) {
    return {Into::First, size};
}
constexpr Received Second(std::size_t size) {
    return {Into::Second, size};
}

using M = Memory;

std::string const DATA = "\x01\x02payload";

constexpr int DATA_SIZE = 9;

Row const FAMILY[] = {
    // A function takes two or three lines here and would take ten.
    // clang-format off
    {"ipod_cfg_get", 0x0C, 24, {}, z("volume"), {TheWord, First(30)}, WORD,
     [](int fd, M& m) { return ipod_cfg_get(fd, "volume", m.first.data(), 30); }},
    {"ipod_cfg_get_nothing", 0x0C, 24, {}, z(""), {TheWord}, WORD,
     [](int fd, M&) { return ipod_cfg_get(fd, "", nullptr, 0); }},
    {"ipod_restart", 0x80, 24, {{16, a(1)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_restart(fd, a(1)); }},
    {"ipod_gps_get_ctrl", 0x60, 40, {{16, a(1)}}, "", {First(8)}, SEND,
     [](int fd, M& m) { return ipod_gps_get_ctrl(fd, a(1), m.first.data()); }},
    {"ipod_get_software_version", 0x35, 24, {}, "", {First(4)}, SEND,
     [](int fd, M& m) { return ipod_get_software_version(fd, m.first.data()); }},
    {"ipod_pushui_setvideoauth", 0x26, 24, {{16, a(1)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_pushui_setvideoauth(fd, a(1)); }},
    {"ipod_preference_get", 0x42, 24, {{8, a(1)}}, "", {TheWord}, Result::WordOrMinusOne,
     [](int fd, M&) { return ipod_preference_get(fd, a(1)); }},
    {"ipod_preference_set", 0x41, 24, {{8, a(1)}, {16, a(2)}, {20, a(3)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_preference_set(fd, a(1), a(2), a(3)); }},
    {"ipod_preference_set_64", 0x41, 24, {{8, a(1)}, {16, 0x8182838485868788, 8}}, "", {}, SEND,
     [](int fd, M&) { return ipod_preference_set(fd, a(1), std::uint64_t{0x8182838485868788}); }},
    {"ipod_reidentify", 0x33, 24, {}, "", {}, SEND,
     [](int fd, M&) { return ipod_reidentify(fd); }},
    {"ipod_pushui_devvideoscreeninfo", 0x25, 48, {{8, a(1)}, {12, a(2)}, {16, a(3)}, {20, a(4)},
     {24, a(5)}, {28, a(6)}, {32, a(7)}, {36, a(8)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_pushui_devvideoscreeninfo(fd, a(1), a(2), a(3), a(4), a(5),
         a(6), a(7), a(8)); }},
    {"ipod_pushui_getversion", 0x23, 24, {}, "", {First(4)}, SEND,
     [](int fd, M& m) { return ipod_pushui_getversion(fd, m.first.data()); }},
    {"ipod_smplrmt_rotationinput", 0x16, 48, {{8, a(2)}, {12, a(3)}, {16, a(4)}, {20, a(5)},
     {24, a(6)}, {28, a(7)}, {32, a(8)}, {36, a(1)}, {40, a(9)}, {44, a(10)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_smplrmt_rotationinput(fd, a(1), a(2), a(3), a(4), a(5), a(6),
         a(7), a(8), a(9), a(10)); }},
    {"ipod_get_ui_mode", 0x31, 24, {}, "", {First(1)}, SEND,
     [](int fd, M& m) { return ipod_get_ui_mode(fd, m.first.data()); }},
    {"ipod_set_ui_mode", 0x30, 24, {{16, a(1)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_set_ui_mode(fd, a(1)); }},
    {"ipod_pushui_devstatechange", 0x22, 24, {{16, a(1)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_pushui_devstatechange(fd, a(1)); }},
    {"ipod_pushui_setopt", 0x21, 24, {{16, a(1)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_pushui_setopt(fd, a(1)); }},
    {"ipod_pushui_getopt", 0x20, 24, {{16, a(1)}}, "", {First(4)}, SEND,
     [](int fd, M& m) { return ipod_pushui_getopt(fd, a(1), m.first.data()); }},
    {"ipod_smplrmt_pushuibutton", 0x12, 24, {{8, a(2)}, {12, a(1)}, {16, a(3)}, {20, a(4)}}, "", {},
     SEND,
     [](int fd, M&) { return ipod_smplrmt_pushuibutton(fd, a(1), a(2), a(3), a(4)); }},
    {"ipod_smplrmt_videobutton", 0x15, 24, {{8, a(1)}, {16, a(2)}, {20, a(3)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_smplrmt_videobutton(fd, a(1), a(2), a(3)); }},
    {"ipod_smplrmt_videobutton_64", 0x15, 24, {{8, a(1)}, {16, 0x8182838485868788, 8}}, "", {},
     SEND,
     [](int fd, M&) { return ipod_smplrmt_videobutton(fd, a(1),
         std::uint64_t{0x8182838485868788}); }},
    {"ipod_smplrmt_audiobutton", 0x14, 24, {{8, a(1)}, {16, a(2)}, {20, a(3)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_smplrmt_audiobutton(fd, a(1), a(2), a(3)); }},
    {"ipod_smplrmt_audiobutton_64", 0x14, 24, {{8, a(1)}, {16, 0x8182838485868788, 8}}, "", {},
     SEND,
     [](int fd, M&) { return ipod_smplrmt_audiobutton(fd, a(1),
         std::uint64_t{0x8182838485868788}); }},
    {"ipod_smplrmt_imagebutton", 0x13, 24, {{8, a(1)}, {16, a(2)}, {20, a(3)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_smplrmt_imagebutton(fd, a(1), a(2), a(3)); }},
    {"ipod_smplrmt_imagebutton_64", 0x13, 24, {{8, a(1)}, {16, 0x8182838485868788, 8}}, "", {},
     SEND,
     [](int fd, M&) { return ipod_smplrmt_imagebutton(fd, a(1),
         std::uint64_t{0x8182838485868788}); }},
    {"ipod_smplrmt_button", 0x11, 24, {{8, a(1)}, {16, a(2)}, {20, a(3)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_smplrmt_button(fd, a(1), a(2), a(3)); }},
    {"ipod_smplrmt_button_64", 0x11, 24, {{8, a(1)}, {16, 0x8182838485868788, 8}}, "", {}, SEND,
     [](int fd, M&) { return ipod_smplrmt_button(fd, a(1), std::uint64_t{0x8182838485868788}); }},
    {"ipod_eaf_session_free", 0x06, 24, {{8, a(1)}}, "", {{Into::Nowhere, 4}}, SEND,
     [](int fd, M&) { return ipod_eaf_session_free(fd, a(1)); }},
    {"ipod_eaf_session_accept", 0x07, 24, {{8, a(1)}, {12, a(2)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_eaf_session_accept(fd, a(1), a(2)); }},
    {"ipod_eaf_session_open", 0x04, 10, {{8, 0xFE, 1}, {9, 0, 1}}, "", {{Into::Word, 2}},
     Result::TwoBytes,
     [](int fd, M&) { return ipod_eaf_session_open(fd, 0x12345FE); }},
    {"ipod_get_events", 0x70, 24, {{16, 3}}, "", {TheWord, First(108)}, WORD,
     [](int fd, M& m) { return ipod_get_events(fd, m.first.data(), 3); }},
    {"ipod_gps_recv", 0x62, 40, {{16, a(1)}, {20, a(2)}, {24, 50}}, "", {TheWord, Second(4),
     First(50)}, WORD,
     [](int fd, M& m) { return ipod_gps_recv(fd, a(1), a(2), m.first.data(), 50,
         m.second.data()); }},
    {"ipod_gps_recv_nothing", 0x62, 40, {{16, a(1)}, {20, a(2)}}, "", {TheWord, Second(4)}, WORD,
     [](int fd, M& m) { return ipod_gps_recv(fd, a(1), a(2), nullptr, 0, m.second.data()); }},
    {"ipod_get_nowplaying_name", 0x38, 24, {}, "", {TheWord, First(60)}, WORD,
     [](int fd, M& m) { return ipod_get_nowplaying_name(fd, m.first.data(), 60); }},
    {"ipod_get_nowplaying_name_nothing", 0x38, 24, {}, "", {TheWord}, WORD,
     [](int fd, M&) { return ipod_get_nowplaying_name(fd, nullptr, 0); }},
    {"ipod_get_nowplaying_app", 0x37, 24, {}, "", {TheWord, First(60)}, WORD,
     [](int fd, M& m) { return ipod_get_nowplaying_app(fd, m.first.data(), 60); }},
    {"ipod_get_nowplaying_app_nothing", 0x37, 24, {}, "", {TheWord}, WORD,
     [](int fd, M&) { return ipod_get_nowplaying_app(fd, nullptr, 0); }},
    {"ipod_get_model", 0x34, 24, {}, "", {First(4), Second(20)}, SEND,
     [](int fd, M& m) { return ipod_get_model(fd, m.first.data(), m.second.data(), 20); }},
    {"ipod_get_model_nothing", 0x34, 24, {}, "", {First(4)}, SEND,
     [](int fd, M& m) { return ipod_get_model(fd, m.first.data(), nullptr, 0); }},
    {"ipod_get_capabilities", 0x32, 24, {}, "", {TheWord, First(18)}, WORD,
     [](int fd, M& m) { return ipod_get_capabilities(fd, m.first.data(), 9, 0); }},
    {"ipod_get_capabilities_reserved_is_not_read", 0x32, 24, {}, "", {TheWord, First(18)}, WORD,
     [](int fd, M& m) { return ipod_get_capabilities(fd, m.first.data(), 9, -1); }},
    {"ipod_get_capabilities_null", 0x32, 24, {}, "", {TheWord}, WORD,
     [](int fd, M&) { return ipod_get_capabilities(fd, nullptr, 9, 0); }},
    {"ipod_pushui_get_approval", 0x24, 24, {{8, a(1)}, {12, 25}}, "", {TheWord, First(25)}, WORD,
     [](int fd, M& m) { return ipod_pushui_get_approval(fd, a(1), m.first.data(), 25); }},
    {"ipod_pushui_get_approval_nothing", 0x24, 24, {{8, a(1)}}, "", {TheWord}, WORD,
     [](int fd, M&) { return ipod_pushui_get_approval(fd, a(1), nullptr, 0); }},
    {"ipod_cfg_audio_in_get", 0x40, 24, {{8, a(1)}}, "", {TheWord, First(25)}, WORD,
     [](int fd, M& m) { return ipod_cfg_audio_in_get(fd, a(1), m.first.data(), 25); }},
    {"ipod_cfg_audio_in_get_nothing", 0x40, 24, {{8, a(1)}}, "", {TheWord}, WORD,
     [](int fd, M&) { return ipod_cfg_audio_in_get(fd, a(1), nullptr, 0); }},
    {"ipod_eaf_getevents", 0x05, 24, {}, "", {TheWord, First(80)}, WORD,
     [](int fd, M& m) { return ipod_eaf_getevents(fd, m.first.data(), 5); }},
    {"ipod_eaf_getprotocol", 0x03, 24, {{8, a(1)}}, "", {TheWord, First(40)}, WORD,
     [](int fd, M& m) { return ipod_eaf_getprotocol(fd, a(1), m.first.data(), 40); }},
    {"ipod_eaf_getprotocol_nothing", 0x03, 24, {{8, a(1)}}, "", {TheWord}, WORD,
     [](int fd, M&) { return ipod_eaf_getprotocol(fd, a(1), nullptr, 0); }},
    {"ipod_eaf_recv", 0x01, 24, {{8, a(1)}, {12, 70}}, "", {TheWord, First(70)}, WORD,
     [](int fd, M& m) { return ipod_eaf_recv(fd, a(1), m.first.data(), 70); }},
    {"ipod_gps_send", 0x61, 40, {{16, a(1)}, {20, a(2)}, {24, DATA.size()}}, DATA, {}, SEND,
     [](int fd, M&) { return ipod_gps_send(fd, a(1), a(2), DATA.data(), DATA_SIZE); }},
    {"ipod_write_feature", 0x50, 24, {{16, a(1)}}, DATA, {}, SEND,
     [](int fd, M&) { return ipod_write_feature(fd, a(1), DATA.data(), DATA_SIZE); }},
    {"ipod_request_app_launch", 0x36, 24, {}, z("com.example.app"), {}, SEND,
     [](int fd, M&) { return ipod_request_app_launch(fd, "com.example.app"); }},
    {"ipod_cfg_set_one", 0x0B, 24, {{12, 1}}, z("name"), {}, SEND,
     [](int fd, M&) { return ipod_cfg_set(fd, "name", nullptr); }},
    {"ipod_cfg_set_two", 0x0B, 24, {{12, 2}}, z("name") + z("value"), {}, SEND,
     [](int fd, M&) { return ipod_cfg_set(fd, "name", "value"); }},
    {"ipod_cfg_set_two_with_an_empty_one", 0x0B, 24, {{12, 2}}, z("name") + z(""), {}, SEND,
     [](int fd, M&) { return ipod_cfg_set(fd, "name", ""); }},
    {"ipod_ctrl_passthru", 0x10, 24, {{12, DATA.size()}, {16, a(1)}, {20, a(2)}}, DATA, {}, SEND,
     [](int fd, M&) { return ipod_ctrl_passthru(fd, a(1), a(2), DATA.data(), DATA_SIZE); }},
    {"ipod_eaf_cfg_session_set_one", 0x0A, 24, {{8, a(1)}, {12, 1}}, z("key"), {}, SEND,
     [](int fd, M&) { return ipod_eaf_cfg_session_set(fd, a(1), "key", nullptr); }},
    {"ipod_eaf_cfg_session_set_two", 0x0A, 24, {{8, a(1)}, {12, 2}}, z("key") + z("value"), {},
     SEND,
     [](int fd, M&) { return ipod_eaf_cfg_session_set(fd, a(1), "key", "value"); }},
    {"ipod_eaf_cfg_set_one", 0x09, 24, {{12, 1}}, z("key"), {}, SEND,
     [](int fd, M&) { return ipod_eaf_cfg_set(fd, "key", nullptr); }},
    {"ipod_eaf_cfg_set_two", 0x09, 24, {{12, 2}}, z("key") + z("value"), {}, SEND,
     [](int fd, M&) { return ipod_eaf_cfg_set(fd, "key", "value"); }},
    {"ipod_eaf_addprotocol", 0x08, 24, {}, z("com.example.protocol"), {TheWord}, WORD,
     [](int fd, M&) { return ipod_eaf_addprotocol(fd, "com.example.protocol"); }},
    {"ipod_eaf_send", 0x00, 24, {{8, a(1)}, {12, DATA.size()}}, DATA, {}, SEND,
     [](int fd, M&) { return ipod_eaf_send(fd, a(1), DATA.data(), DATA_SIZE); }},
    {"ipod_eaf_send_nothing", 0x00, 24, {{8, a(1)}}, "", {}, SEND,
     [](int fd, M&) { return ipod_eaf_send(fd, a(1), nullptr, 0); }},
    // clang-format on
};

std::string messageOf(Row const& row) {
    std::string bytes = le(0x0113, 2) + le(8, 2) + le(0x0013, 2) + le(row.code, 2);
    bytes.resize(row.size, '\0');
    for (Field const& field : row.body) {
        std::string const value = le(field.value, field.width);
        bytes.replace(field.offset, value.size(), value);
    }
    return bytes + row.behind;
}

std::size_t roomOf(Row const& row) {
    std::size_t room = 0;
    for (Received const& part : row.received) {
        room += part.size;
    }
    return room;
}

std::string withMarks(std::string const& front) {
    std::string bytes(256, Memory::MARK);
    return bytes.replace(0, front.size(), front);
}

/** What a driver sends that fills all room: the word as given, then bytes that tell their place. */
struct FullReply {
    FullReply(Row const& row, std::int64_t word) {
        std::string const places = pattern(1000);
        std::size_t used = 0;
        for (Received const& part : row.received) {
            std::string const bytes =
                part.into == Into::Word ? le(static_cast<std::uint64_t>(word)).substr(0, part.size)
                                        : places.substr(used, part.size);
            used += part.size;
            data += bytes;
            first += part.into == Into::First ? bytes : "";
            second += part.into == Into::Second ? bytes : "";
        }
    }

    std::string data;
    std::string first;
    std::string second;
};

bool returnsTheWord(Row const& row) {
    return row.result == Result::WordOnSuccess || row.result == Result::WordOrMinusOne;
}

class IpodFamily : public ::testing::TestWithParam<Row> {
protected:
    /** Calls the function at a served node that gives this answer. */
    int call(std::int32_t status, std::string const& data) {
        ControlNodeReply const reply{status, 0, {data.begin(), data.end()}};
        ServedNode const node(mFolder.path() + CONTROL, reply);
        int const fd = ipod_open((mFolder.path() + CONTROL).c_str(), O_RDWR);
        EXPECT_NE(-1, fd);
        errno = 0;
        int const result = GetParam().call(fd, mMemory);
        mErrno = errno;
        mRequests = node.requests();
        close(fd);
        return result;
    }

    std::string const mMessage = messageOf(GetParam());
    TempDir mFolder;
    Memory mMemory;
    int mErrno = 0;
    std::vector<ControlNodeRequest> mRequests;
};

TEST_P(IpodFamily, SendsItsBytesAndAsksForItsRoom) {
    call(0, "");
    ASSERT_EQ(1U, mRequests.size());
    ControlNodeRequest const& request = mRequests[0];
    EXPECT_EQ(ControlNodeKind::Message, request.kind);
    EXPECT_EQ(0U, request.dcmd);
    EXPECT_EQ(mMessage, std::string(request.data.begin(), request.data.end()));
    EXPECT_EQ(roomOf(GetParam()), request.replyRoom);
}

TEST_P(IpodFamily, PutsEachPartOfTheReplyInItsPlace) {
    FullReply const reply(GetParam(), 0x01020384);
    int const result = call(0, reply.data);
    EXPECT_EQ(withMarks(reply.first), mMemory.first);
    EXPECT_EQ(withMarks(reply.second), mMemory.second);
    if (returnsTheWord(GetParam())) {
        EXPECT_EQ(0x01020384, result);
    } else {
        EXPECT_EQ(GetParam().result == Result::TwoBytes ? 0x0384 : 0, result);
    }
}

TEST_P(IpodFamily, ReturnsASignedWordAndAnUnsignedPairOfBytes) {
    FullReply const reply(GetParam(), -7);
    int const result = call(0, reply.data);
    if (returnsTheWord(GetParam())) {
        EXPECT_EQ(-7, result);
    } else {
        EXPECT_EQ(GetParam().result == Result::TwoBytes ? 0xFFF9 : 0, result);
    }
}

TEST_P(IpodFamily, TakesAWordThatDoesNotComeForZero) {
    EXPECT_EQ(0, call(0, ""));
    EXPECT_EQ(withMarks(""), mMemory.first);
    EXPECT_EQ(withMarks(""), mMemory.second);
}

TEST_P(IpodFamily, PassesOnWhatTheDriverReturned) {
    FullReply const reply(GetParam(), 77);
    int const result = call(5, reply.data);
    EXPECT_EQ(GetParam().result == Result::WordOrMinusOne ? -1 : 5, result);
    EXPECT_EQ(0, mErrno);
}

TEST_P(IpodFamily, GivesMinusOneAndTheErrnoOfTheDriver) {
    EXPECT_EQ(-1, call(-ENOSPC, ""));
    EXPECT_EQ(ENOSPC, mErrno);
}

TEST_P(IpodFamily, GivesEIOIfTheDriverVanishes) {
    RawDriver driver([](RawDriver::End& end) { end.takeRequest(); });
    EXPECT_EQ(-1, GetParam().call(driver.fd(), mMemory));
    EXPECT_EQ(EIO, errno);
}

TEST_P(IpodFamily, GivesENOSYSOnANodeThatIsNoSocket) {
    mFolder.write("file", "");
    int const fd = open(mFolder.path("file").c_str(), O_RDWR);
    EXPECT_EQ(-1, GetParam().call(fd, mMemory));
    EXPECT_EQ(ENOSYS, errno);
    close(fd);
}

INSTANTIATE_TEST_SUITE_P(Each, IpodFamily, ::testing::ValuesIn(FAMILY),
                         [](auto const& tested) { return tested.param.name; });

/** A message as the table of the driver link page has it. */
struct PageMessage {
    unsigned long code;
    unsigned long size;
    std::string result;
};

std::map<std::string, PageMessage> messagesOfThePage() {
    std::map<std::string, PageMessage> messages;
    for (auto const& cells : DriverLinkPage().rows("The message family")) {
        if (cells.at(0).rfind("ipod_", 0) == 0) {
            messages[cells[0].substr(0, cells[0].find('('))] = {
                std::stoul(cells.at(1), nullptr, 16), std::stoul(cells.at(2)), cells.at(6)};
        }
    }
    return messages;
}

/** The function of a row, whose name may go on with what is special about the call. */
std::string functionOf(Row const& row, std::map<std::string, PageMessage> const& messages) {
    std::string name = row.name;
    while (!name.empty() && messages.count(name) == 0) {
        name.erase(name.rfind('_') == std::string::npos ? 0 : name.rfind('_'));
    }
    return name;
}

std::string inWords(Result result) {
    switch (result) {
    case Result::OfTheSend:
        return "send";
    case Result::WordOnSuccess:
        return "word";
    case Result::WordOrMinusOne:
        return "word; -1 if the send returned anything but 0";
    case Result::TwoBytes:
        return "those as an unsigned number if the send returned 0, else send";
    }
    return "";
}

TEST(IpodFamilyPage, NamesEveryMessageWithItsCodeSizeAndResult) {
    auto const messages = messagesOfThePage();
    std::set<std::string> functions;
    for (Row const& row : FAMILY) {
        std::string const function = functionOf(row, messages);
        ASSERT_NE("", function) << row.name << " is not on the page";
        EXPECT_EQ(row.code, messages.at(function).code) << row.name;
        EXPECT_EQ(row.size, messages.at(function).size) << row.name;
        EXPECT_EQ(inWords(row.result), messages.at(function).result) << row.name;
        functions.insert(function);
    }
    EXPECT_EQ(messages.size(), functions.size()) << "the page has messages that are not tested";
}

TEST(IpodGetCapabilities, TheExchangeOfTheDriverLinkPageStandsByteForByte) {
    auto page = DriverLinkPage().example("The message family");
    RawDriver driver([&](RawDriver::End& end) {
        end.takeRequest();
        end.give(page["reply"]);
    });
    std::vector<std::uint16_t> capabilities(9, 0);
    EXPECT_EQ(3, ipod_get_capabilities(driver.fd(), capabilities.data(), 9, 0));
    EXPECT_EQ((std::vector<std::uint16_t>{1, 8, 12, 0, 0, 0, 0, 0, 0}), capabilities);
    EXPECT_EQ(page["request"], driver.taken());
}

TEST(IpodGetCapabilities, TheNumberMayBeLargerThanTheListThatWasAskedFor) {
    RawDriver driver([](RawDriver::End& end) {
        end.takeRequest();
        end.give(wireReply(0, 0, le(40) + pattern(18)));
    });
    std::string list(18, '\0');
    EXPECT_EQ(40, ipod_get_capabilities(driver.fd(), list.data(), 9, 0));
    EXPECT_EQ(pattern(18), list);
}

TEST(IpodGetCapabilities, ADriverThatSendsMoreThanWasAskedForIsRefused) {
    RawDriver driver([](RawDriver::End& end) {
        end.takeRequest();
        end.give(wireReply(0, 0, le(10) + pattern(20)));
    });
    std::string list(18, '\0');
    EXPECT_EQ(-1, ipod_get_capabilities(driver.fd(), list.data(), 9, 0));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(std::string(18, '\0'), list);
}

TEST(IpodSizes, NegativeAndOverlongOnesAreRefusedBeforeAnythingIsSent) {
    RawDriver driver([](RawDriver::End& end) { end.take(1); });
    char buffer[64];
    auto const refused = [](int result) {
        EXPECT_EQ(-1, result);
        EXPECT_EQ(EOVERFLOW, errno);
        errno = 0;
    };
    int const fd = driver.fd();
    refused(ipod_get_capabilities(fd, buffer, -1, 0));
    refused(ipod_get_capabilities(fd, buffer, 0x7FFFFFFF, 0));
    refused(ipod_get_events(fd, buffer, -1));
    refused(ipod_get_events(fd, buffer, 0x10000000));
    refused(ipod_eaf_getevents(fd, buffer, -1));
    refused(ipod_cfg_get(fd, "x", buffer, -1));
    refused(ipod_eaf_recv(fd, 1, buffer, -1));
    refused(ipod_eaf_send(fd, 1, buffer, -1));
    refused(ipod_gps_send(fd, 1, 2, buffer, -1));
    shutdown(fd, SHUT_RDWR);
    EXPECT_EQ("", driver.taken());
}

TEST(IpodOpen, OpensTheNodeAtThePath) {
    TempDir const folder;
    ServedNode const node(folder.path("ipod0") + CONTROL, ControlNodeReply{4, 0, {}});
    int const fd = ipod_open((folder.path("ipod0") + CONTROL).c_str(), O_RDWR);
    EXPECT_EQ(4, ipod_reidentify(fd));
    close(fd);
}

TEST(IpodOpen, TellsWhyItCannot) {
    TempDir const folder;
    EXPECT_EQ(-1, ipod_open(folder.path("gone").c_str(), O_RDWR));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, ipod_open(nullptr, O_RDWR));
    EXPECT_EQ(EINVAL, errno);
}

TEST(IpodOpen, AppendsNothingToThePath) {
    TempDir const folder;
    ServedNode const node(folder.path("ipod0") + CONTROL);
    EXPECT_EQ(-1, ipod_open(folder.path("ipod0").c_str(), O_RDWR));
    EXPECT_EQ(EISDIR, errno) << "the mount point itself";
}

} // namespace
