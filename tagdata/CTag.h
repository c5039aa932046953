#pragma once

#include "service/stdTools.h"

#include <cstdint>
#include <string>

/**
 * The record of one song that the listener marked on the radio.
 *
 * A plain value: an accessor stores or returns and does nothing else, no check, no encoding.
 * Records are made with new and owned by whoever holds the list they are in.
 */
class CTag {
public:
    CTag() { InitTag(false); }
    /** An empty record. The flag is kept and has no effect. */
    explicit CTag(bool flag) { InitTag(flag); }
    /** A copy of another record, NewTagFlag included. */
    CTag(CTag* other, bool flag);
    virtual ~CTag();

    /** Blanks the record: empty texts, zero numbers, NewTagFlag false. */
    void InitTag(bool flag);

    std::string Name() const { return mName; }
    void Name(std::string value);

    std::string Artist() const { return mArtist; }
    void Artist(std::string value);

    std::string Album() const { return mAlbum; }
    void Album(std::string value);

    /** iTunes song identifier: decimal digits, kept as text. */
    std::string iTunesSongID() const { return mITunesSongID; }
    void iTunesSongID(std::string value);

    /** iTunes storefront identifier: 32 bits are kept. */
    unsigned long iTunesStorefrontID() const { return mITunesStorefrontID; }
    void iTunesStorefrontID(unsigned long value);

    /** Station frequency as text, for instance 95.5. */
    std::string StationFrequency() const { return mStationFrequency; }
    void StationFrequency(std::string value);

    /** Call letters with the band, for instance ABCD-FM. */
    std::string StationCallLetters() const { return mStationCallLetters; }
    void StationCallLetters(std::string value);

    /** A text here; in a property list it stands in an integer element. */
    std::string PodcastFeedURL() const { return mPodcastFeedURL; }
    void PodcastFeedURL(std::string value);

    std::string StationURL() const { return mStationURL; }
    void StationURL(std::string value);

    std::string Genre() const { return mGenre; }
    void Genre(std::string value);

    /** The station's program number, 1 for the main program. */
    int ProgramNumber() const { return mProgramNumber; }
    void ProgramNumber(int value);

    std::string iTunesAffiliateID() const { return mITunesAffiliateID; }
    void iTunesAffiliateID(std::string value);

    /** Opaque bytes of the tag as Base64 text. */
    std::string UnknownData() const { return mUnknownData; }
    void UnknownData(std::string value);

    /** When the tag was made, as text; 2010-03-01T17:05:09Z (UTC) is the usual form. */
    std::string TimeStamp() const { return mTimeStamp; }
    void TimeStamp(std::string value);

    /** True on a tag that was taken in during this run, and so is in no file yet. */
    bool NewTagFlag() const { return mNewTagFlag; }
    void NewTagFlag(bool value);

    /**
     * The text made safe for XML. What already is one of the five named entities stays as it is; of
     * the double quotes and of the apostrophes only the first of each kind is encoded.
     */
    static std::string HTMLEncode(std::string text);

    /** The record's line of the local tag file, with its line feed. */
    std::string toXML() const;

    /** The record's dictionary in a property list, lines ending in carriage return, line feed. */
    std::string toAppleXML() const;

private:
    friend struct TagFieldTable;

    std::string mName;
    std::string mArtist;
    std::string mAlbum;
    std::string mITunesSongID;
    std::uint32_t mITunesStorefrontID;
    std::string mStationFrequency;
    std::string mStationCallLetters;
    std::string mPodcastFeedURL;
    std::string mStationURL;
    std::string mGenre;
    int mProgramNumber;
    std::string mITunesAffiliateID;
    std::string mUnknownData;
    std::string mTimeStamp;
    stdTools mTools;
    [[maybe_unused]] bool mFlag;
    bool mNewTagFlag;
};
