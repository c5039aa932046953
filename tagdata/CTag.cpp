#include "tagdata/CTag.h"

#include <array>
#include <string_view>
#include <utility>

namespace {

constexpr std::array<std::string_view, 5> NAMED_ENTITIES = {"&amp;", "&lt;", "&gt;", "&quot;",
                                                            "&apos;"};

bool beginsEntity(std::string_view rest) {
    for (std::string_view const entity : NAMED_ENTITIES) {
        if (rest.substr(0, entity.size()) == entity) {
            return true;
        }
    }
    return false;
}

/** Gives the entity for the first occurrence of a character and the bare character from then on. */
class FirstOnly {
public:
    FirstOnly(char const* bare, char const* entity) : mBare(bare), mNext(entity) {}

    std::string_view take() { return std::exchange(mNext, mBare); }

private:
    std::string_view mBare;
    std::string_view mNext;
};

} // namespace

CTag::CTag(CTag* other, bool flag) : CTag(*other) {
    mFlag = flag;
}

CTag::~CTag() = default;

void CTag::InitTag(bool flag) {
    mName.clear();
    mArtist.clear();
    mAlbum.clear();
    mITunesSongID.clear();
    mITunesStorefrontID = 0;
    mStationFrequency.clear();
    mStationCallLetters.clear();
    mPodcastFeedURL.clear();
    mStationURL.clear();
    mGenre.clear();
    mProgramNumber = 0;
    mITunesAffiliateID.clear();
    mUnknownData.clear();
    mTimeStamp.clear();
    mFlag = flag;
    mNewTagFlag = false;
}

void CTag::Name(std::string value) {
    mName = std::move(value);
}
void CTag::Artist(std::string value) {
    mArtist = std::move(value);
}
void CTag::Album(std::string value) {
    mAlbum = std::move(value);
}
void CTag::iTunesSongID(std::string value) {
    mITunesSongID = std::move(value);
}
void CTag::iTunesStorefrontID(unsigned long value) {
    mITunesStorefrontID = static_cast<std::uint32_t>(value);
}
void CTag::StationFrequency(std::string value) {
    mStationFrequency = std::move(value);
}
void CTag::StationCallLetters(std::string value) {
    mStationCallLetters = std::move(value);
}
void CTag::PodcastFeedURL(std::string value) {
    mPodcastFeedURL = std::move(value);
}
void CTag::StationURL(std::string value) {
    mStationURL = std::move(value);
}
void CTag::Genre(std::string value) {
    mGenre = std::move(value);
}
void CTag::ProgramNumber(int value) {
    mProgramNumber = value;
}
void CTag::iTunesAffiliateID(std::string value) {
    mITunesAffiliateID = std::move(value);
}
void CTag::UnknownData(std::string value) {
    mUnknownData = std::move(value);
}
void CTag::TimeStamp(std::string value) {
    mTimeStamp = std::move(value);
}
void CTag::NewTagFlag(bool value) {
    mNewTagFlag = value;
}

std::string CTag::HTMLEncode(std::string text) {
    // Only the first quote and the first apostrophe: the stored files and the tag files on the
    // iPods are defined by it. Test: CTagHTMLEncode.OnlyTheFirstDoubleQuoteIsEncoded.
    FirstOnly quote("\"", "&quot;");
    FirstOnly apostrophe("'", "&apos;");
    std::string_view const all = text;
    std::string encoded;
    encoded.reserve(text.size());
    for (std::size_t at = 0; at < all.size(); ++at) {
        switch (all[at]) {
        case '&':
            encoded += beginsEntity(all.substr(at)) ? "&" : "&amp;";
            break;
        case '<':
            encoded += "&lt;";
            break;
        case '>':
            encoded += "&gt;";
            break;
        case '"':
            encoded += quote.take();
            break;
        case '\'':
            encoded += apostrophe.take();
            break;
        default:
            encoded += all[at];
        }
    }
    return encoded;
}
