#include "tagdata/CTag.h"

#include "HtmlText.h"

#include <utility>

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
    std::string encoded;
    encoded.reserve(text.size());
    appendEncoded(encoded, text);
    return encoded;
}
