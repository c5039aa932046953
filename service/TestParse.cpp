#include "service/TestParse.h"

#include "files/CConfigInfo.h"
#include "files/XMLTools.h"
#include "service/SampleStreams.h"
#include "service/stdTools.h"
#include "tagdata/CTagIdMgr.h"
#include "tagdata/HexParser.h"

#include <memory>
#include <string>

namespace {

void log(std::string const& message) {
    stdTools().Output("TestParse", message, stdTools::Message);
}

/** The tags that wait in the local files. */
struct Stored {
    ListOwner<CTag> tags;
    ListOwner<CAmbigTag> candidates;
};

void addAmbiguous(CHexParser const& parser, CLinkedList<unsigned int>* bytes, Stored& stored) {
    log("Found Fuzzy");
    ListOwner<CAmbigTag> const decoded(parser.ParseAmbig(bytes));
    // From the rear, which puts the second candidate before the first.
    // Test: TestParseRun.StoresTheSecondCandidateBeforeTheFirst.
    while (decoded->Count() != 0) {
        stored.candidates->AddRear(decoded->RemoveRear());
    }
}

void addSingle(CHexParser const& parser, CLinkedList<unsigned int>* bytes, Stored& stored) {
    log("Found Single");
    stored.tags->AddRear(parser.ParseSingle(bytes));
}

void addSample(CHexParser const& parser, char const* text, Stored& stored) {
    ListOwner<unsigned int> const bytes(parser.StringToList(text));
    log("List size:" + stdTools::toString(bytes->Count()));
    bool const isAmbiguous = *bytes->Front->Data != 0;
    (isAmbiguous ? addAmbiguous : addSingle)(parser, bytes.get(), stored);
}

} // namespace

int TestParse() {
    CHexParser const parser(0, false);
    XMLTools files(0, false);
    std::unique_ptr<CConfigInfo> const config(files.LoadConfig());
    Stored stored;
    stored.tags.reset(files.LoadTags());
    stored.candidates.reset(files.LoadAmbigTags());
    for (char const* const text : sampleStreams()) {
        addSample(parser, text, stored);
    }
    files.WriteTagXML(stored.tags.get(), NODEVICE);
    files.WriteAmbigTagXML(stored.candidates.get(), NODEVICE);
    return 0;
}
