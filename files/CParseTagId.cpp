#include "files/CParseTagId.h"

#include "SaxAttributes.h"
#include "service/stdTools.h"
#include "tagdata/CTagIdMgr.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

namespace {

constexpr std::string_view END_OF_DEVICE_ID = "</DeviceId>";

constexpr unsigned int DAYS_OF_A_YEAR = 360;
constexpr unsigned int DAYS_OF_A_MONTH = 30;
constexpr unsigned int OLDEST_DAYS = 29;

struct IdentityAttribute {
    char const* name;
    std::string CTagIdInfo::*field;
};

constexpr IdentityAttribute IDENTITY[] = {
    {"Name", &CTagIdInfo::Name},
    {"Artist", &CTagIdInfo::Artist},
    {"iTunesSongID", &CTagIdInfo::iTunesSongID},
    {"Time", &CTagIdInfo::Time},
};

CTagIdInfo identityOf(SaxAttributes attributes) {
    CTagIdInfo info;
    for (SaxAttribute const attribute : attributes) {
        for (IdentityAttribute const& known : IDENTITY) {
            if (attribute.is(known.name)) {
                info.*known.field = attribute.value();
            }
        }
    }
    return info;
}

/** Whether the end tag stands right behind a text. Reads no further than a zero byte. */
bool isDeviceId(char const* text, std::size_t length) {
    return strnlen(text, length) == length
           && std::strncmp(text + length, END_OF_DEVICE_ID.data(), END_OF_DEVICE_ID.size()) == 0;
}

} // namespace

CParseTagId::CParseTagId() = default;
CParseTagId::~CParseTagId() = default;

void CParseTagId::startElementNs(void* ctx, unsigned char const* localname,
                                 unsigned char const* /*prefix*/, unsigned char const* /*URI*/,
                                 int /*nb_namespaces*/, unsigned char const** /*namespaces*/,
                                 int nb_attributes, int /*nb_defaulted*/,
                                 unsigned char const** attributes) {
    if (ctx == nullptr) {
        stdTools const log;
        log.Output("CParseTagId_startElementNs", "ctx is null", stdTools::Error);
        return;
    }
    if (!isElement(localname, "TagId")) {
        return;
    }
    // A repeated entry does not become current: its devices go to the entry before it.
    // Test: CParseTagIdFile.DevicesOfARepeatedEntryGoToTheEntryBeforeIt.
    static_cast<CTagIdManager*>(ctx)->addTagBlockIfNew(
        identityOf(SaxAttributes(attributes, nb_attributes)));
}

void CParseTagId::endElementNs(void* /*ctx*/, unsigned char const* /*localname*/,
                               unsigned char const* /*prefix*/, unsigned char const* /*URI*/) {}

void CParseTagId::onCharacters(void* ctx, unsigned char const* ch, int len) {
    if (ctx == nullptr || ch == nullptr) {
        return;
    }
    // No element is tracked: what makes a text a device id is what follows it in the buffer, so
    // that a comment before the end tag hides it. Compared in place, since the rest of the buffer
    // is long. Test: CParseTagIdFile.ACommentBeforeTheEndTagHidesTheDevice.
    auto const* const text = reinterpret_cast<char const*>(ch);
    auto const length = static_cast<std::size_t>(len);
    if (isDeviceId(text, length)) {
        static_cast<CTagIdManager*>(ctx)->addDeviceId2CurTagBlock(
            convertStr2UInt(std::string(text, length)));
    }
}

std::string CParseTagId::getCurrentTime() {
    std::time_t const now = std::time(nullptr);
    std::tm const* const local = std::localtime(&now);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%4d/%02d/%02d/%02d", local->tm_year + 1900,
                  local->tm_mon + 1, local->tm_mday, local->tm_hour);
    return text.data();
}

void CParseTagId::convertTimeValue(std::string const& text, TimeInfo_t& time) {
    time.year = convertStr2UInt(text.substr(0, 4));
    time.month = convertStr2UInt(text.substr(5, 2));
    time.day = convertStr2UInt(text.substr(8, 2));
    time.hour = convertStr2UInt(text.substr(11, 2));
}

unsigned int CParseTagId::convertStr2UInt(std::string text) {
    // Signed on the way in, so "-1" and "4294967295" are the same device.
    constexpr int DECIMAL = 10;
    return static_cast<unsigned int>(std::strtoll(text.c_str(), nullptr, DECIMAL));
}

bool CParseTagId::isTooOld(TimeInfo_t const& then, TimeInfo_t const& now) {
    // Unsigned, so that a time in the future is huge and clears entries that were written while
    // the clock was wrong. Test: CParseTagId.AnEntryOfTheFutureIsTooOld.
    unsigned int const age = DAYS_OF_A_YEAR * (now.year - then.year)
                             + DAYS_OF_A_MONTH * (now.month - then.month) + (now.day - then.day);
    return age > OLDEST_DAYS;
}

bool CParseTagId::isCanNeglectOldTagId(std::string const& text) {
    return OldTagIds().include(text);
}

bool OldTagIds::include(std::string const& text) {
    if (text.empty()) {
        return false;
    }
    if (!mNow) {
        CParseTagId::convertTimeValue(CParseTagId::getCurrentTime(), mNow.emplace());
    }
    TimeInfo_t then{};
    CParseTagId::convertTimeValue(text, then);
    return CParseTagId::isTooOld(then, *mNow);
}
