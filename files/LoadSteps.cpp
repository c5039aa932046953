#include "LoadSteps.h"

#include "SaxParser.h"

void initialize(Speaker const& speaker) {
    orFail(speaker, INIT_FAILED, checkLibXml);
}

void cleanUp(Speaker const& speaker) {
    speaker.say("Running Cleanup");
    xmlCleanupParser();
}
