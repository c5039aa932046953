#pragma once

#include "files/ParseFSM.h"

#include <optional>
#include <string>

/** The parsed form of an entry's Time. */
struct TimeInfo_t {
    unsigned int year;
    unsigned int month;
    unsigned int day;
    unsigned int hour;
};

/** Callbacks that read TaggedInfo.xml, and the rule that makes its old entries fall out. */
class CParseTagId : public ParseFSM {
public:
    CParseTagId();
    virtual ~CParseTagId();

    /** Without meaning. */
    inline static bool mveryOldTagId = false;

    /**
     * Makes an entry for a "TagId" element and makes it the current one, unless its identity is
     * there already; arguments as in ParseFSM.
     * @param ctx the CTagIdManager to fill; null is logged and ignored
     */
    static void startElementNs(void* ctx, unsigned char const* localname,
                               unsigned char const* prefix, unsigned char const* URI,
                               int nb_namespaces, unsigned char const** namespaces,
                               int nb_attributes, int nb_defaulted,
                               unsigned char const** attributes);

    /** Does nothing. */
    static void endElementNs(void* ctx, unsigned char const* localname, unsigned char const* prefix,
                             unsigned char const* URI);

    /**
     * Gives a text that "</DeviceId>" follows to the current entry as a device id.
     * @param ctx the CTagIdManager to fill
     * @param ch the text, inside the parser's buffer, which must be readable up to a zero byte
     */
    static void onCharacters(void* ctx, unsigned char const* ch, int len);

    /** The present local time as Time text: year, month, day and hour, as in 2010/06/09/17. */
    static std::string getCurrentTime();

    /** Parses Time text. @throws std::out_of_range if it is too short */
    static void convertTimeValue(std::string const& text, TimeInfo_t& time);

    /** The number at the start of a text, 0 if there is none. */
    static unsigned int convertStr2UInt(std::string text);

    /** Whether an entry of one time is too old to be written at another. */
    static bool isTooOld(TimeInfo_t const& then, TimeInfo_t const& now);

    /**
     * Whether an entry of that Time is too old to be written.
     * @throws std::out_of_range if the text is too short, but not if it is empty
     */
    static bool isCanNeglectOldTagId(std::string const& text);
};

/** Which entries are too old, for all of one write as of the moment of its first dated entry. */
class OldTagIds {
public:
    /** As CParseTagId::isCanNeglectOldTagId. */
    bool include(std::string const& text);

private:
    std::optional<TimeInfo_t> mNow;
};
