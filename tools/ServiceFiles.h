#pragma once

#include "files/DocumentReader.h"

#include <json/value.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

class CConfigInfo;

/** The configuration that a service reads unless it is told of another one. */
constexpr char DEFAULT_CONFIGURATION[] = "/etc/Songlatch.conf";

/** "FILE, line 3, column 14: why", and what to do about it. */
std::string faultText(std::string const& path, DocumentFault const& fault);

/** One waiting song: a tag, or one of the candidates of an ambiguous one. */
struct WaitingSong {
    std::string number; ///< "1", or "2a" and "2b" for the candidates of one tag
    std::size_t tag;    ///< the number of the tag it belongs to, from 1
    CTag const* song;
    CAmbigTag const* candidate; ///< the same, null for a single tag
    std::size_t index;          ///< in its file, from 0
};

/**
 * The service's files, read as they are at this moment. Nothing here writes, and no service is
 * needed: the folder comes from the configuration that the service reads.
 */
class ServiceFiles {
public:
    /** @throws Failure if the configuration cannot be read, with the place in it */
    explicit ServiceFiles(std::string const& configuration);
    ~ServiceFiles();
    ServiceFiles(ServiceFiles const&) = delete;
    ServiceFiles& operator=(ServiceFiles const&) = delete;

    CConfigInfo const& configuration() const { return *mConfig; }

    std::string tagPath() const;
    std::string candidatePath() const;
    std::string recordPath() const;

    /** The bytes of the file of single tags and of that of candidates. */
    using WaitingText = std::pair<std::string, std::string>;

    /** @throws Failure if a file cannot be read. One that is not there holds no tag. */
    WaitingText waitingText() const;
    /** Takes what waits from such bytes. @throws Failure that tells the place of a fault */
    void readWaiting(WaitingText const& text);
    /** Reads both files of waiting tags. A file that is not there holds none. @throws Failure */
    void readWaiting() { readWaiting(waitingText()); }
    /** All songs that wait, single ones first, in the order in which an iPod gets them. */
    std::vector<WaitingSong> const& waiting() const { return mWaiting; }
    /** How many tags the service counts: two candidates make one. */
    std::size_t count() const;
    /** The property list that the next iPod would get. */
    std::string propertyList() const;

    /** The record of what went where. @throws Failure */
    std::unique_ptr<CTagIdManager> readRecord() const;

private:
    std::unique_ptr<CConfigInfo> mConfig;
    TagDocument<CTag> mTags;
    TagDocument<CAmbigTag> mCandidates;
    std::vector<WaitingSong> mWaiting;
};

/** A waiting song with its fields under the keys of a tag. */
Json::Value toJson(WaitingSong const& song);
