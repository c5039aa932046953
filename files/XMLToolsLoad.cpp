// The frame of a load: make the result, ask for the library, parse, clean up. What a failed parse
// means differs from load to load and is decided here, at the end of each try block; the
// differences are wanted, and the callers count on them.
#include "files/XMLTools.h"

#include "FileNames.h"
#include "SaxParser.h"
#include "files/CConfigInfo.h"
#include "files/CParseAmbigTags.h"
#include "files/CParseConfig.h"
#include "files/CParseTagId.h"
#include "files/CParseTags.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CTagException.h"
#include "tagdata/CTagIdMgr.h"

#include <cstring>

namespace {

constexpr char INIT_FAILED[] = "Error Initializing LIBXML";
constexpr char SETUP_FAILED[] = "Error setting up saxHandler";
constexpr char PARSER_FAILED[] = "Error running Parser";

/** The log of one operation. */
class Speaker {
public:
    Speaker(stdTools const& log, char const* context) : mLog(log), mContext(context) {}

    void say(std::string const& line, stdTools::ErrorLevel level = stdTools::Message) const {
        mLog.Output(mContext, line, level);
    }
    [[noreturn]] void fail(char const* line) const {
        say(line, stdTools::Error);
        throwTagException(CTagException::ExXmlFile, line);
    }

private:
    stdTools const& mLog;
    char const* mContext;
};

/** Ends the journey of the exception that is being handled, whatever it is. */
void dropException() {
    try {
        throw;
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const dropped(exception);
    } catch (...) {
        return;
    }
}

/** Does something whose failure, whatever it is, becomes a CTagException of that text. */
template <class Action>
void orFail(Speaker const& speaker, char const* complaint, Action action) {
    try {
        action();
    } catch (...) {
        dropException();
        speaker.fail(complaint);
    }
}

void initialize(Speaker const& speaker) {
    orFail(speaker, INIT_FAILED, checkLibXml);
}

void parse(Speaker const& speaker, xmlSAXHandler& handler, void* userData,
           std::string const& path) {
    speaker.say("Attempting Parse of " + path);
    if (parseFile(handler, userData, path) != 0) {
        speaker.say("Failed to parse document.", stdTools::Error);
        throwTagException(CTagException::ExXmlFile, "Failed to parse document");
    }
}

void cleanUp(Speaker const& speaker) {
    speaker.say("Running Cleanup");
    xmlCleanupParser();
}

} // namespace

CConfigInfo* XMLTools::LoadConfig() {
    Speaker const speaker(log, "XMLTools_LoadConfig");
    auto config = std::make_unique<CConfigInfo>(log.DEBUG);
    initialize(speaker);
    orFail(speaker, PARSER_FAILED, [&] {
        xmlSAXHandler handler = handlerFor<CParseConfig>();
        parse(speaker, handler, config.get(), _CONFIGFILEPATH);
    });
    cleanUp(speaker);
    tagFilePath = config->localStorage() + TAG_FILE;
    ambigTagFilePath = config->localStorage() + AMBIG_TAG_FILE;
    taggedInfoFilePath = config->localStorage() + TAGGED_INFO_FILE;
    return config.release();
}

CLinkedList<CTag>* XMLTools::LoadTags() {
    Speaker const speaker(log, "XMLTools_LoadTags");
    ListOwner<CTag> tags = makeList<CTag>();
    initialize(speaker);
    try {
        xmlSAXHandler handler = handlerFor<CParseTags>();
        parse(speaker, handler, tags.get(), tagFilePath);
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const ended(exception);
        return makeList<CTag>().release();
    }
    cleanUp(speaker);
    return tags.release();
}

CLinkedList<CAmbigTag>* XMLTools::LoadAmbigTags() {
    Speaker const speaker(log, "XMLTools_LoadAmbigTags");
    ListOwner<CAmbigTag> tags = makeList<CAmbigTag>();
    initialize(speaker);
    xmlSAXHandler handler;
    orFail(speaker, SETUP_FAILED, [&] {
        std::memset(&handler, 0, sizeof handler);
        speaker.say("memset completed");
        fillHandler<CParseAmbigTags>(handler);
    });
    try {
        parse(speaker, handler, tags.get(), ambigTagFilePath);
    } catch (CTagException const&) {
        // For the object, not for the pointer that is thrown: a bad file passes by and reaches the
        // caller. Test: XmlTools.LoadAmbigTagsRaisesForAMissingFileAsRequired.
        return makeList<CAmbigTag>().release();
    }
    cleanUp(speaker);
    return tags.release();
}

CTagIdManager* XMLTools::LoadTagIdMgr() {
    Speaker const speaker(log, "XMLTools_LoadTagIdMgr");
    mTagIdManager = makeTagIdManager();
    initialize(speaker);
    try {
        xmlSAXHandler handler = handlerFor<CParseTagId>();
        handler.characters = fenced<&CParseTagId::onCharacters>;
        parse(speaker, handler, mTagIdManager, taggedInfoFilePath);
    } catch (CTagException* exception) {
        // The caller gets an empty registry while this object goes on with what was read so far.
        // Test:
        // TagIdFile.AFailedLoadReturnsAnotherManagerThanTheOneThatIsKeptAsRequired.
        std::unique_ptr<CTagException> const ended(exception);
        return makeTagIdManager();
    }
    cleanUp(speaker);
    return mTagIdManager;
}

CTagIdManager* XMLTools::makeTagIdManager() {
    mTagIdManagers.push_back(std::make_unique<CTagIdManager>());
    return mTagIdManagers.back().get();
}

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
                      speaker.say("Failed to parse document.", stdTools::Error);
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
    // Test: XmlTools.TestParseXMLFileLogsAFailedSetupAsAMessageAsRequired.
    return testParse(
        Speaker(log, "XMLTools_TestParseXMLFile"), stdTools::Message,
        [&](xmlSAXHandler& handler, void* userData) { return parseFile(handler, userData, path); });
}
