#pragma once

#include "bus/CSvcClientBase.h"
#include "bus/CSvcImplBase.h"
#include "service/MediaDevice.h"
#include "service/Replies.h"
#include "service/RequestedTag.h"
#include "service/TaggingStatus.h"
#include "service/stdTools.h"
#include "tagdata/CLinkedList.h"

#include <json/json.h>

#include <memory>
#include <string>
#include <vector>

class Keeping;
class XMLTools;
struct SafeSurroundings;
struct Surroundings;

/** The service that reports the attached devices, on the bus. */
constexpr char MEDIASERVICE[] = "com.veldan.service.Media";

/** Method of the media service that lists its devices, and the context that marks its answer. */
constexpr char GETDEVICES[] = "getDevices";

/**
 * The service object: a service on the bus and a client of the media service.
 *
 * It owns the attached iPods and the three published values, and keeps nothing else between calls:
 * the files are the state of the tags. Every operation runs on the main thread, one at a time and
 * to its end, so that there is no lock. An exception that leaves an operation leaves the event loop
 * with it and ends the process in main; the client whose call it was gets no reply.
 *
 * The operations stand in one source file for each job: CTaggingImpl.cpp (life and published
 * values), CTaggingImplDispatch.cpp, CTaggingImplDevices.cpp, CTaggingImplTags.cpp and
 * CTaggingImplWays.cpp, where each event of the bus comes in and is given to the way of working
 * that the configuration chooses. The operations themselves are the default way.
 */
class CTaggingImpl : public CSvcClientBase, public CSvcImplBase {
public:
    using _Status = TaggingStatus;
    using EnuStatus = TaggingStatus::Number;
    static constexpr EnuStatus OK = TaggingStatus::OK;
    static constexpr EnuStatus ERROR = TaggingStatus::ERROR;
    static constexpr EnuStatus TARGET_FULL = TaggingStatus::TARGET_FULL;
    static constexpr EnuStatus LOCAL_STORAGE_FULL = TaggingStatus::LOCAL_STORAGE_FULL;
    static constexpr EnuStatus STORED_LOCAL = TaggingStatus::STORED_LOCAL;
    static constexpr EnuStatus STORED_ON_TARGET = TaggingStatus::STORED_ON_TARGET;
    static constexpr EnuStatus TRANSFER_SUCCEEDED = TaggingStatus::TRANSFER_SUCCEEDED;
    static constexpr EnuStatus TRANSFER_FAILED = TaggingStatus::TRANSFER_FAILED;
    static constexpr EnuStatus STOREDLOCAL_IPOD_INCOMPATIBLE =
        TaggingStatus::STOREDLOCAL_IPOD_INCOMPATIBLE;
    static constexpr EnuStatus LOCALFULL_IPOD_INCOMPATIBLE =
        TaggingStatus::LOCALFULL_IPOD_INCOMPATIBLE;

    using _tag = RequestedTag;

    using _Taggable = Taggable;

    /**
     * Brings up the bus, publishes the service, publishes the first "localStatus" and asks the
     * media service for its devices.
     * @param debug whether messages and warnings also go to standard output
     * @throws CTagException* if the configuration or AmbigTag.xml cannot be read
     */
    explicit CTaggingImpl(bool debug);

    /** Ends the subscription and frees the device records. */
    virtual ~CTaggingImpl();

    CTaggingImpl(CTaggingImpl const&) = delete;
    CTaggingImpl& operator=(CTaggingImpl const&) = delete;

    // Events of the bus.

    using CSvcClientBase::processTellbusResult;
    /** Takes the media service's answer; one with another context is only logged. */
    void processTellbusResult(unsigned int const& id, char const* result, void* context) override;
    /** Takes "deviceState", recognised by the subscription's id alone. */
    void processTellbusSignal(unsigned int const& id, CTellbusSignal const* signal,
                              void* context) override;
    /** Takes the coming and going of the media service, of which only safe keeping is told. */
    void processTellbusNameChange(unsigned int const& id, CTellbusNameChange const* change,
                                  void* context) override;
    /** Carries out one method call and replies. Failures are ordinary replies. */
    void processTellbusRequest(CTellbusRequest* request) override;

    // Published values.

    /** `{"props":{...}}` with the values asked for. Emits nothing. */
    Json::Value getProperties(bool transferStatus, bool connectionStatus, bool localStatus);
    /** Stores the values, -1 leaving one as it is, and emits "localStatus". */
    void sendLocalStatus(int current, int max);
    /** Emits "connectionStatus". */
    void sendConnectionStatus();
    /** Stores the status and emits "transferStatus". */
    void sendTransferStatus(EnuStatus status);

    // Methods.

    /**
     * Puts the tags, and all that were stored before them, onto iPods or into the local files.
     *
     * One tag is a single tag; several are the candidates of one ambiguous tag.
     *
     * @param deviceId CMediaDevice::id() of the target where the configuration says "specify"; -1
     *                 for none. It also says on whose behalf tags are recorded.
     * @throws CTagException* if the configuration file cannot be parsed
     */
    EnuStatus tagRequest(std::vector<_tag>& tags, int deviceId);
    /** Empties both tag files. The record of delivered songs stays. */
    EnuStatus clearAllLocalTags();
    /** Looks up one identity for one device in the record of delivered songs. */
    _Taggable checkTag(Json::Value const& params);

    // Devices.

    /** Asks the media service for its devices; the answer arrives as a result. */
    void getDevices();
    /** Replaces the list of iPods by the answer to "getDevices" and starts a transfer. */
    void ProcessDeviceState(Json::Value const& value);
    /** Takes one iPod in or out and, when one came, starts a transfer. @throws CTagException* */
    void ProcessDeviceStateSignal(CTellbusSignal const*& signal);
    /** Whether the iPod mounted there has the capability for tagging. Every failure is a no. */
    bool isDeviceSupportTagging(std::string mountPoint);
    /** "a.b.C" as the object path "/a/b/C". */
    static std::string makeObjPath(std::string busName);

    // Transfer.

    /** Moves the waiting tags to the first iPod that supports tagging and takes them. */
    void ProcessStoredTags();
    /** Records every attached iPod against the tags, those without the file included. */
    void UpdateIpodTagIds(XMLTools* xmlTools, CLinkedList<CTag>* tagList,
                          CLinkedList<CAmbigTag>* ambigList, std::vector<CMediaDevice*>& devices);
    /** Only logs. */
    void SonglatchingReady();
    /** Always true; part of the interface without a caller. */
    bool isDeviceFull(unsigned int deviceId);

private:
    class OrdinaryKeeping;
    struct Ways;

    void log(char const* source, std::string const& message,
             stdTools::ErrorLevel level = stdTools::Message);

    // Life and published values.
    SafeSurroundings safeSurroundings();
    void watchMedia(bool watched);
    void begin();
    Keeping& wayForThis();
    void publishStoredCount();
    Json::Value localStatus() const;
    Json::Value connectionStatus() const;
    Json::Value transferStatus() const;
    void emitStatus(char const* name, Json::Value const& body);

    // Dispatch.
    Json::Value replyTo(CTellbusRequest& request);
    Json::Value answerTagRequest(CTellbusRequest& request);
    Json::Value answerClearAllLocalTags(CTellbusRequest& request);
    Json::Value answerGetProperties(CTellbusRequest& request);
    Json::Value answerCheckTag(CTellbusRequest& request);

    // Devices.
    void addDevices(Json::Value const& devices);
    void removeDevice(int id);
    void removeAllDevices();
    template <class Read>
    void readOrThrow(Read read);

    // Tags.
    Surroundings surroundings();

    unsigned int mDeviceStateSubscription = 0;
    unsigned int mDeviceId = 0;
    stdTools mTools;
    Json::FastWriter mWriter;
    std::vector<CMediaDevice*> mDevices;
    int mLocalCurrent = 0;
    int mLocalMax = 0;
    int mTransferStatus = OK;
    std::shared_ptr<Ways> mWays; ///< shared only so that its type need not be known here
};
