// The frame of a load: make the result, ask for the library, parse, clean up. What a failed parse
// means differs from load to load and is decided here, at the end of each try block; the
// differences are wanted, and the callers count on them.
#include "files/XMLTools.h"

#include "FileNames.h"
#include "LoadSteps.h"
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

void parse(Speaker const& speaker, xmlSAXHandler& handler, void* userData,
           std::string const& path) {
    speaker.say("Attempting Parse of " + path);
    if (parseFile(handler, userData, path) != 0) {
        speaker.say(PARSE_FAILED, stdTools::Error);
        throwTagException(CTagException::ExXmlFile, "Failed to parse document");
    }
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
        // caller. Test: XmlTools.LoadAmbigTagsRaisesForAMissingFile.
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
        // The caller gets an empty registry, this object goes on with what was read so far.
        // Test: TagIdFile.AFailedLoadReturnsAnotherManagerThanTheOneThatIsKept.
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
