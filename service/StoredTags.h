#pragma once

#include "files/CConfigInfo.h"
#include "files/XMLTools.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CLinkedList.h"
#include "tagdata/CTag.h"
#include "tagdata/CTagIdMgr.h"

#include <memory>
#include <string>
#include <vector>

class CMediaDevice;

/**
 * The stored tags for one piece of work: loaded from the files at its start, owned here, and
 * written back by whoever changed them. Nothing is kept between two pieces of work; the files are
 * the state. The service reaches its files through this class alone.
 */
class StoredTags {
public:
    StoredTags(unsigned int deviceId, bool debug);

    /**
     * Has to come first.
     * @return whether there is a configuration
     * @throws CTagException* if the configuration file cannot be parsed
     */
    bool loadConfig();

    /** Loads both tag files and the registry. What cannot be loaded counts as empty. */
    void loadTags();
    /** The same, but what cannot be loaded ends the piece of work. @throws CTagException* */
    void loadTagsOrThrow();
    /** Loads the registry alone. @return whether there is one @throws CTagException* */
    bool loadRegistry();

    /** All single tags and all ambiguous candidates. */
    int records() const;
    /** Single tags plus half the ambiguous candidates, rounded down. All limits use it. */
    int total() const;

    /**
     * Rewrites both tag files as empty documents; the lists in memory stay. Nothing need be loaded.
     * @throws CTagException* if the configuration file cannot be parsed
     */
    void emptyFiles();

    /** Rewrites Tags.xml from the list, less the new tags that deviceId already has. */
    void writeTags(unsigned int deviceId);
    /** The same for AmbigTag.xml. */
    void writeAmbigTags(unsigned int deviceId);

    /** Records the new tags for deviceId in the registry and its file. */
    void recordNewTags(unsigned int deviceId);
    /** How many of the recorded tags deviceId did not have yet; ambiguous candidates count half. */
    int newTagIdCount() const;

    /** Whether the registry lists the identity for deviceId. Needs loadRegistry(). */
    bool isRecorded(CTagIdInfo const& identity, unsigned int deviceId) const;
    /** Records all tags of both lists for all the devices, null ones left out, in the file too. */
    void recordForDevices(std::vector<CMediaDevice*> const& devices);

    /** Hands the lists to the iPod mounted there. @throws CTagException* with ExIpodWrite */
    void writeToIpod(std::string const& mountPoint, unsigned int deviceId);

    CConfigInfo& config() { return *mConfig; }
    CLinkedList<CTag>* tags() { return mTags.get(); }
    CLinkedList<CAmbigTag>* ambigTags() { return mAmbigTags.get(); }

private:
    XMLTools mXml;
    std::unique_ptr<CConfigInfo> mConfig;
    ListOwner<CTag> mTags;
    ListOwner<CAmbigTag> mAmbigTags;
    CTagIdManager* mRegistry = nullptr; ///< owned by mXml
};

/** Records all tags of both lists for all the devices, null ones left out, in the file too. */
void recordForDevices(XMLTools& xml, CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* ambigTags,
                      std::vector<CMediaDevice*> const& devices);
