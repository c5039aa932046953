#pragma once

#include "files/CConfigInfo.h"
#include "files/safe/KeepingFolder.h"
#include "files/safe/KeptTags.h"
#include "service/Keeping.h"
#include "service/MediaDevice.h"
#include "service/Replies.h"
#include "service/TagJudge.h"
#include "service/TaggingStatus.h"
#include "service/stdTools.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

/** What safe keeping needs of the service around it. */
struct SafeSurroundings {
    std::vector<CMediaDevice*>& devices; ///< the list of iPods, owned by the service
    stdTools const& tools;

    std::function<void(int current, int max)> publishLocal; ///< -1 leaves a value as it is
    std::function<void()> publishConnection;
    std::function<void(TaggingStatus::Number)> publishTransfer;
    std::function<void(TaggingStatus::Number)> noteTransfer; ///< stores it without a signal
    std::function<void()> askForDevices;
    ReadProperties readProperties;
};

/**
 * The way of working under which no tag that was accepted is lost, whatever befalls the power, the
 * disk, a driver or a caller. docs/safe-keeping.md tells what is promised and why it holds.
 *
 * A tag is in the files before anybody is told that it is kept, leaves them only in the same change
 * that records which iPod took it, and what cannot be judged or written is refused whole.
 */
class SafeKeeping : public Keeping {
public:
    explicit SafeKeeping(SafeSurroundings around);

    /** The configuration of the piece of work that follows. */
    void use(std::shared_ptr<CConfigInfo const> config);
    /** The configuration cannot be read: the last one stays. Says so once. */
    void keepLastConfig();

    /** @throws CTagException* if another process keeps the folder */
    void begin() override;
    Json::Value replyTo(CTellbusRequest& request) override;
    void takeDevices(char const* answer) override;
    void takeDeviceState(CTellbusSignal const* signal) override;
    void takeMediaOwner(bool hasOwner) override;

private:
    enum class Outcome { Took, HasAll, Refused, Incapable };
    struct Offering {
        Outcome outcome = Outcome::Refused;
        int error = 0; ///< the driver's errno value, for a refusal
    };

    // Requests.
    Json::Value replyToMethod(CTellbusRequest& request);
    Json::Value replyToTags(CTellbusRequest& request);
    Json::Value replyToCheck(Json::Value const& params);
    TaggingStatus::Number clear();
    Json::Value refused(std::string const& why) const;

    // Storing.
    TaggingStatus::Number store(JudgedTags& judged);
    TaggingStatus::Number keepAndOffer(KeptTags& kept, JudgedTags& judged);
    int keep(KeptTags& kept, JudgedTags& judged);
    TaggingStatus::Number offerByPolicy(KeptTags& kept, int deviceId);
    TaggingStatus::Number offerToFirst(KeptTags& kept);
    TaggingStatus::Number offerToAll(KeptTags& kept);
    TaggingStatus::Number offerToNamed(KeptTags& kept, int deviceId);

    // Transfer.
    void transfer();
    void transferTo(KeptTags& kept);

    // Drivers.
    Offering offer(KeptTags& kept, CMediaDevice const& device, bool askCapability, bool isLast);
    int sendText(CMediaDevice const& device, std::string const& text) const;
    void recordTaken(KeptTags& kept, KeptTags::Offer const& offer, CMediaDevice const& device,
                     bool leave);
    bool leaveFiles(KeptTags& kept);

    // Devices.
    void addDevice(Json::Value const& json);
    void removeDevice(int id);
    void removeAllDevices();

    // Files.
    int prepare();
    int load(KeptTags& kept);
    static std::string describe(int error);
    void log(char const* operation, std::string const& message,
             stdTools::ErrorLevel level = stdTools::Message) const;

    SafeSurroundings mAround;
    std::shared_ptr<CConfigInfo const> mConfig;
    bool mConfigIsOld = false;
    std::unique_ptr<KeepingFolder> mFolder;
    bool mFolderReady = false;
    /** Devices that have missed a deadline: they are asked again when they come again. */
    std::set<int> mSilent;
    /** What a driver took and no file could be told yet. */
    std::vector<std::pair<SongIdentity, std::uint32_t>> mUnrecorded;
};
