// The built-in checks of the parser: they log everything that it sees and report a failure by their
// result alone.
#include "files/XMLTools.h"

#include "LoadSteps.h"
#include "SaxParser.h"

namespace {

/** Runs one stage of a parser check. @return whether it failed */
template <class Stage>
bool fails(Speaker const& speaker, char const* complaint, stdTools::ErrorLevel level, Stage stage) {
    try {
        return stage();
    } catch (...) {
        dropException();
        speaker.say(complaint, level);
        return true;
    }
}

/** @param source parses with a table of callbacks and user data, as parseFile does */
template <class Source>
bool testParse(Speaker const& speaker, stdTools::ErrorLevel setupLevel, Source source) {
    xmlSAXHandler handler;
    int placeholder = 0;
    return fails(speaker, INIT_FAILED, stdTools::Error,
                 [&] {
                     speaker.say("Initializing LIBXML");
                     checkLibXml();
                     return false;
                 })
           || fails(speaker, SETUP_FAILED, setupLevel,
                    [&] {
                        speaker.say("Configuring saxHandler");
                        handler = handlerFor<ParseFSM>();
                        return false;
                    })
           || fails(speaker, PARSER_FAILED, stdTools::Error, [&] {
                  speaker.say("Attempting Parse");
                  if (source(handler, &placeholder) != 0) {
                      speaker.say(PARSE_FAILED, stdTools::Error);
                      return true;
                  }
                  cleanUp(speaker);
                  return false;
              });
}

} // namespace

bool XMLTools::TestParseXML(std::string text) {
    return testParse(Speaker(log, "XMLTools_TestParseXML"), stdTools::Error,
                     [&](xmlSAXHandler& handler, void* userData) {
                         return parseMemory(handler, userData, text);
                     });
}

bool XMLTools::TestParseXMLFile(std::string path) {
    // A message, where the check of a text logs an error.
    // Test: XmlTools.TestParseXMLFileLogsAFailedSetupAsAMessage.
    return testParse(
        Speaker(log, "XMLTools_TestParseXMLFile"), stdTools::Message,
        [&](xmlSAXHandler& handler, void* userData) { return parseFile(handler, userData, path); });
}
