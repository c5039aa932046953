#pragma once

#include "files/safe/KeepingFolder.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CTag.h"

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

class CConfigInfo;

/** What tells one song from another: name, artist and song id. */
using SongIdentity = std::tuple<std::string, std::string, std::string>;

SongIdentity identityOf(CTag const& tag);

/**
 * The waiting tags and the record of which iPod took which song, read from the three data files for
 * one piece of work and written back whole. What was damaged is kept up to the damage.
 */
class KeptTags {
public:
    /** The devices that took one song, and when it was recorded. */
    struct Delivery {
        std::string time;
        std::vector<std::uint32_t> devices;
    };

    explicit KeptTags(KeepingFolder& folder);

    /**
     * Reads the three files. Sets a damaged one aside and writes what could be read in its place.
     * @return 0, or the errno value for which nothing is known of what is kept
     */
    int load();
    /** The damaged files that load() has met, each with what became of it, for the log. */
    std::vector<std::string> const& complaints() const { return mComplaints; }

    std::vector<CTag>& tags() { return mTags; }
    std::vector<CAmbigTag>& candidates() { return mCandidates; }
    /** Single tags plus half the candidates, rounded down. All limits use it. */
    int total() const;
    bool empty() const { return mTags.empty() && mCandidates.empty(); }

    bool isWaiting(SongIdentity const& song) const;
    bool hasTaken(SongIdentity const& song, std::uint32_t device) const;
    bool isRecorded(SongIdentity const& song) const;

    /** What a device would get: the waiting tags less those that it has. */
    struct Offer {
        std::vector<CTag const*> tags;
        std::vector<CAmbigTag const*> candidates;
        bool empty() const { return tags.empty() && candidates.empty(); }
    };
    Offer offerFor(std::uint32_t device) const;
    /** The property list of an offer. */
    static std::string propertyList(CConfigInfo const& config, Offer const& offer);

    void record(SongIdentity const& song, std::uint32_t device);
    void clearWaiting();

    /** Which of the files a commit() writes. */
    enum File : unsigned { Tags = 1, Candidates = 2, Record = 4 };
    /** Writes these files, all or none. @return 0 or an errno value */
    int commit(unsigned files);

private:
    struct DamagedFile;

    int loadTags();
    int loadCandidates();
    int loadRecord();
    int repair(File file, bool unusable);
    std::string textOf(File file) const;

    KeepingFolder& mFolder;
    std::vector<CTag> mTags;
    std::vector<CAmbigTag> mCandidates;
    std::map<SongIdentity, Delivery> mRecord;
    std::vector<std::string> mComplaints;
};
