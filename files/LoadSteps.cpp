#include "LoadSteps.h"

#include "SaxParser.h"
#include "tagdata/CTagException.h"

#include <memory>

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
