#pragma once

#include "platform/Mutex.h"
#include "rig/Command.h"
#include "rig/Ipod.h"
#include "rig/MediaService.h"
#include "rig/ReportStream.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/**
 * The car around the service: the media service and the iPods, and the commands that move them.
 *
 * One command is carried out after the other, from whatever thread they come.
 */
class Workbench {
public:
    /** @throws std::runtime_error if the media service cannot join the bus */
    explicit Workbench(ReportStream& report);

    /**
     * Carries out one line of input; what cannot be done is reported.
     * @return what could not be done; empty if it is done
     */
    std::string perform(std::string const& line);

    /** Is told of all devices, as "list" reports them, now and after each command; null: nobody. */
    using DeviceWatcher = std::function<void(Json::Value const&)>;
    void watchDevices(DeviceWatcher watcher);

    /** Whether "quit" was given. */
    bool ended() const { return mEnded; }

    /** One line for each command. */
    static std::string help();

private:
    using Action = void (Workbench::*)(Command const&);
    struct Entry;
    static Entry const ENTRIES[];
    using Slot = std::vector<std::unique_ptr<Ipod>>::iterator;

    void attach(Command const& command) REQUIRES(mMutex);
    void detach(Command const& command) REQUIRES(mMutex);
    void list(Command const& command) REQUIRES(mMutex);
    void setCapabilities(Command const& command) REQUIRES(mMutex);
    void setFaults(Command const& command) REQUIRES(mMutex);
    void signal(Command const& command);
    void answer(Command const& command);
    void reportHelp(Command const& command);
    void quit(Command const& command);

    void dispatch(Command const& command) REQUIRES(mMutex);
    Json::Value describeDevices() const REQUIRES(mMutex);
    Slot find(int id) REQUIRES(mMutex);
    Slot find(Command const& command) REQUIRES(mMutex);
    void add(std::unique_ptr<Ipod> device) REQUIRES(mMutex);
    static void serveInsteadOf(Ipod& former, Ipod& device);
    void publishList() REQUIRES(mMutex);
    void emit(Device const& device, bool available);

    ReportStream& mReport;
    MediaService mMedia;
    Mutex mMutex; ///< one command at a time
    std::vector<std::unique_ptr<Ipod>> mDevices GUARDED_BY(mMutex);
    DeviceWatcher mDeviceWatcher GUARDED_BY(mMutex);
    std::atomic<bool> mEnded = false;
};
