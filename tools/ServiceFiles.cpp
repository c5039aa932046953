#include "tools/ServiceFiles.h"

#include "files/CConfigInfo.h"
#include "files/FileNames.h"
#include "files/MarkedTracks.h"
#include "tagdata/TagFields.h"
#include "tools/Failures.h"
#include "tools/Input.h"

#include <filesystem>

namespace {

constexpr std::size_t CANDIDATES_OF_A_TAG = 2;

template <class Document>
void requireWhole(std::string const& path, Document const& document) {
    if (document.fault) {
        throw Failure(faultText(path, *document.fault));
    }
}

/** The bytes of a file that the service makes when it needs it. */
std::string readIfThere(std::string const& path) {
    return std::filesystem::exists(path) ? readFile(path)
                                         : std::string(LOCAL_FILE_HEAD) + LOCAL_FILE_END;
}

template <class Tag>
std::string dictionariesOf(CLinkedList<Tag> const& tags) {
    std::string text;
    for (Tag const* const tag : tags) {
        text += tag->toAppleXML();
    }
    return text;
}

} // namespace

std::string faultText(std::string const& path, DocumentFault const& fault) {
    return path + ", line " + std::to_string(fault.line) + ", column "
           + std::to_string(fault.column) + ": " + fault.what;
}

ServiceFiles::ServiceFiles(std::string const& configuration) {
    ConfigDocument document = readConfigDocument(readFile(configuration));
    requireWhole(configuration, document);
    mConfig = std::move(document.config);
    std::string const folder = mConfig->localStorage();
    if (!folder.empty() && !std::filesystem::is_directory(folder)) {
        throw Failure("there is no folder " + folder + ", which " + configuration
                      + " names in localStorage");
    }
}

ServiceFiles::~ServiceFiles() = default;

std::string ServiceFiles::tagPath() const {
    return mConfig->localStorage() + TAG_FILE;
}

std::string ServiceFiles::candidatePath() const {
    return mConfig->localStorage() + AMBIG_TAG_FILE;
}

std::string ServiceFiles::recordPath() const {
    return mConfig->localStorage() + TAGGED_INFO_FILE;
}

ServiceFiles::WaitingText ServiceFiles::waitingText() const {
    return {readIfThere(tagPath()), readIfThere(candidatePath())};
}

void ServiceFiles::readWaiting(WaitingText const& text) {
    mTags = readTagDocument(text.first);
    requireWhole(tagPath(), mTags);
    mCandidates = readAmbigTagDocument(text.second);
    requireWhole(candidatePath(), mCandidates);
    mWaiting.clear();
    std::size_t index = 0;
    for (CTag const* const tag : *mTags.tags) {
        std::size_t const number = index + 1;
        mWaiting.push_back({std::to_string(number), number, tag, nullptr, index++});
    }
    std::size_t const singles = index;
    index = 0;
    for (CAmbigTag const* const candidate : *mCandidates.tags) {
        std::size_t const number = singles + index / CANDIDATES_OF_A_TAG + 1;
        char const letter = index % CANDIDATES_OF_A_TAG == 0 ? 'a' : 'b';
        mWaiting.push_back(
            {std::to_string(number) + letter, number, candidate, candidate, index++});
    }
}

std::size_t ServiceFiles::count() const {
    return mTags.tags->Count() + mCandidates.tags->Count() / CANDIDATES_OF_A_TAG;
}

std::string ServiceFiles::propertyList() const {
    // A single candidate counts for nothing, and so it goes nowhere alone.
    return markedTracks(*mConfig, count() == 0 ? std::string()
                                               : dictionariesOf(*mTags.tags)
                                                     + dictionariesOf(*mCandidates.tags));
}

std::unique_ptr<CTagIdManager> ServiceFiles::readRecord() const {
    TagIdDocument document = readTagIdDocument(readIfThere(recordPath()));
    requireWhole(recordPath(), document);
    return std::move(document.registry);
}

Json::Value toJson(WaitingSong const& song) {
    Json::Value json;
    json["number"] = song.number;
    json["ambiguous"] = song.candidate != nullptr;
    for (TagField const& field : tagFields()) {
        json[field.name] = field.text(*song.song);
    }
    json["iTunesStorefrontID"] = static_cast<Json::UInt>(song.song->iTunesStorefrontID());
    json["ProgramNumber"] = song.song->ProgramNumber();
    if (song.candidate != nullptr) {
        json[BUTTON_PRESSED] = song.candidate->ButtonPressed();
    }
    return json;
}
