#pragma once

#include "service/stdTools.h"

#include <string>

/** The log of one operation. */
class Speaker {
public:
    Speaker(stdTools const& log, char const* context) : mLog(log), mContext(context) {}

    void say(std::string const& line, stdTools::ErrorLevel level = stdTools::Message) const;
    /** Logs an error and raises it. @throws CTagException* with ExXmlFile */
    [[noreturn]] void fail(char const* line) const;

private:
    stdTools const& mLog;
    char const* mContext;
};
