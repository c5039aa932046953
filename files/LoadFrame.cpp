#include "LoadFrame.h"

#include "SaxParser.h"
#include "tagdata/CTagException.h"

#include <memory>

void Speaker::say(std::string const& line, stdTools::ErrorLevel level) const {
    mLog.Output(mContext, line, level);
}

void Speaker::fail(char const* line) const {
    say(line, stdTools::Error);
    throwTagException(CTagException::ExXmlFile, line);
}

void dropException() {
    try {
        throw;
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const dropped(exception);
    } catch (...) {
        return;
    }
}

void initialize(Speaker const& speaker) {
    orFail(speaker, INIT_FAILED, checkLibXml);
}

void cleanUp(Speaker const& speaker) {
    speaker.say("Running Cleanup");
    xmlCleanupParser();
}
