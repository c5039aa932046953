#pragma once

#include "service/stdTools.h"
#include "tagdata/CLinkedList.h"
#include "tagdata/CStack.h"

#include <memory>
#include <string>
#include <vector>

class CAmbigTag;
class CConfigInfo;
class CTag;
class CTagIdInfo;
class CTagIdManager;

/**
 * Every XML read and write of the service.
 *
 * An object serves one piece of work and is dropped after it: LoadConfig() first, since it fills
 * the paths, then loads and writes. Nothing is kept between two objects; the files are the state.
 * Main thread only: libxml2's process-wide state is set up and torn down by each load.
 */
class XMLTools {
public:
    /** The configuration file. main() replaces it from the command line, nothing else does. */
    inline static std::string _CONFIGFILEPATH = "/etc/Songlatch.conf";

    /**
     * @param offset shifts what FormattedNow() reads, see there; 0 everywhere in the service
     * @param debug whether this object's messages and warnings also go to standard output
     */
    XMLTools(unsigned int offset, bool debug);
    /** Frees every tag id manager that this object handed out. */
    ~XMLTools();
    XMLTools(XMLTools const&) = delete;
    XMLTools& operator=(XMLTools const&) = delete;

    /**
     * Reads the configuration and derives the paths of the three data files from it.
     * @return a new record, owned by the caller
     * @throws CTagException* with ExXmlFile if the file cannot be read, is ill-formed or holds a
     *         bad number; the paths then stay as they were
     */
    CConfigInfo* LoadConfig();

    /**
     * Reads Tags.xml.
     * @return a new list, never null; the caller owns it and its records. Empty if the file is
     *         missing, ill-formed or holds a bad number.
     */
    CLinkedList<CTag>* LoadTags();

    /**
     * Reads AmbigTag.xml. Unlike LoadTags() it does not take a bad file for an empty one.
     * @return a new list, never null; the caller owns it and its records
     * @throws CTagException* with ExXmlFile if the file is missing or ill-formed, with ExConversion
     *         if it holds a bad number
     */
    CLinkedList<CAmbigTag>* LoadAmbigTags();

    /**
     * Rewrites Tags.xml in place. Leaves out a new tag (NewTagFlag) that the registry lists for the
     * device; for a new tag there must be a registry, see LoadTagIdMgr(). A file that cannot be
     * opened or written is not reported.
     * @param tags null gives the empty document
     * @throws CTagException* as LoadConfig(), which it calls; the file is then untouched
     */
    void WriteTagXML(CLinkedList<CTag>* tags, unsigned int deviceId);

    /** The same for AmbigTag.xml. Logs nothing of its own. */
    void WriteAmbigTagXML(CLinkedList<CAmbigTag>* tags, unsigned int deviceId);

    /**
     * Reads TaggedInfo.xml into a fresh registry, which this object keeps and works with.
     * @return that registry. If the file is missing or ill-formed, another one, which is empty,
     * while this object keeps the entries read so far. This object owns both until it ends.
     */
    CTagIdManager* LoadTagIdMgr();

    /**
     * Rewrites TaggedInfo.xml in place with all entries that are not too old. A file that cannot be
     * opened or written is not reported. Needs a registry.
     * @throws std::out_of_range for an entry whose Time is too short; no file is then written
     */
    void WriteTagIdMgrXML();

    /** InitTagIdMgr(), on an empty registry if there is none, then WriteTagIdMgrXML(). */
    void WriteTagIdMgrXML(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* ambigTags,
                          unsigned int deviceId);

    /**
     * Records the new tags of both lists for one device, as of now, and adds to newTagIdCount what
     * was not recorded before. Lists must not be null. Needs a registry.
     */
    void InitTagIdMgr(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* ambigTags,
                      unsigned int deviceId);

    /** How many new identities InitTagIdMgr() has counted, two ambiguous tags making one. */
    int newTagIdCount = 0;

    /**
     * Records all tags of both lists for all the devices. An entry made here has no time, so it
     * never gets too old. Lists must not be null. Needs a registry.
     */
    void UpdateTagIds(CLinkedList<CTag>* tags, CLinkedList<CAmbigTag>* ambigTags,
                      std::vector<unsigned int>& deviceIds);

    /** Whether the registry lists the tag for the device. Needs a registry. */
    bool IsAlreadyTagged(CTag* tag, unsigned int deviceId);

    /**
     * Composes the property list of both lists, with the filter of WriteTagXML(), and sends it to
     * the iPod below a mount point. No pointer may be null.
     * @throws CTagException* with ExIpodWrite if it does not get there
     */
    void CraftAppleXML(CConfigInfo* config, CLinkedList<CTag>* tags,
                       CLinkedList<CAmbigTag>* ambigTags, std::string mountPoint,
                       unsigned int deviceId);

    /**
     * Sends a text to the driver of the iPod at a path or, testing, writes it to AppleXML.xml
     * there. A test file that cannot be written is not reported.
     * @throws CTagException* with ExIpodWrite if there is no control node, or the driver refuses;
     *         SystemError is then the driver's errno value
     */
    void WriteAppleXML(std::string text, bool testing, std::string path);

    /** Pushes two new sample records on each stack; the caller deletes them. */
    void CreateSampleData(CStack<CTag>* stack, CStack<CAmbigTag>* ambigStack);

    /** The present time in UTC, as in 2010-06-09T17:20:31Z. */
    std::string FormattedNow();

    /** Reads a text and logs what the parser sees. @return true on failure; throws nothing */
    bool TestParseXML(std::string text);
    /** The same with a file. */
    bool TestParseXMLFile(std::string path);

private:
    bool isForDevice(CTag* tag, unsigned int deviceId);
    CTagIdManager* makeTagIdManager();

    template <class Tag, class Say>
    void writeTagFile(std::string const& path, CLinkedList<Tag>* tags, unsigned int deviceId,
                      Say say);
    template <class Tag>
    std::string dictionariesOf(CLinkedList<Tag>* tags, unsigned int deviceId);

    std::string tagFilePath;
    std::string ambigTagFilePath;
    std::string taggedInfoFilePath;
    unsigned int nowOffset;
    stdTools log;
    CTagIdManager* mTagIdManager = nullptr;
    /** All managers of this object, those included that it no longer works with. */
    std::vector<std::unique_ptr<CTagIdManager>> mTagIdManagers;
};
