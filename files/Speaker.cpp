#include "Speaker.h"

#include "tagdata/CTagException.h"

void Speaker::say(std::string const& line, stdTools::ErrorLevel level) const {
    mLog.Output(mContext, line, level);
}

void Speaker::fail(char const* line) const {
    say(line, stdTools::Error);
    throwTagException(CTagException::ExXmlFile, line);
}
