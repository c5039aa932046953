// The commands of the workbench, each found by its name in one table.
//
// A command comes in as a line, changes a device or the media service, and leaves as a report; what
// it cannot do is a report too, and changes nothing. The devices stand in the order in which they
// were attached, each with a driver that has a thread of its own; the media service holds its own
// copy of the list, as it is asked on the bus library's thread. A device is served before it is in
// the list and leaves the list before it is reported gone, so that whoever hears of it finds it as
// told.
#include "rig/Workbench.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace {

/** The mount point in one spelling, whether it is there or not. */
std::filesystem::path placeOf(Device const& device) {
    std::error_code ignored;
    return std::filesystem::weakly_canonical(std::filesystem::path(device.mountPoint) / "",
                                             ignored);
}

} // namespace

struct Workbench::Entry {
    char const* name;
    Action action;
    char const* usage;
    char const* meaning;
};

Workbench::Entry const Workbench::ENTRIES[] = {
    {"attach", &Workbench::attach,
     "attach ID MOUNTPOINT [caps=8,3] [type=ipod] [name=..] [content=..] [storage=..] [silent]",
     "serves a device's control node and reports the device; silent: no signal"},
    {"detach", &Workbench::detach, "detach ID [silent]",
     "takes the node away and reports the device gone"},
    {"list", &Workbench::list, "list", "what is attached"},
    {"caps", &Workbench::setCapabilities, "caps ID 8,3|none", "changes the capability list"},
    {"fault", &Workbench::setFaults,
     "fault ID [open] [caps=ERRNO] [write=ERRNO[:INFO]] [slow=MS] [vanish[=caps|=write]] | none",
     "how the device fails from now on; replaces what was ordered before"},
    {"signal", &Workbench::signal, "signal JSON", "emits this text as deviceState"},
    {"answer", &Workbench::answer, "answer default|none|error|JSON", "what getDevices gets"},
    {"help", &Workbench::reportHelp, "help", "these lines"},
    {"quit", &Workbench::quit, "quit", "ends the rig"},
};

Workbench::Workbench(ReportStream& report) : mReport(report), mMedia(report) {}

std::string Workbench::perform(std::string const& line) {
    MutexLock const lock(mMutex);
    try {
        dispatch(Command(line));
        if (mDeviceWatcher) {
            mDeviceWatcher(describeDevices());
        }
        return "";
    } catch (std::exception const& fault) {
        mReport.error(fault.what());
        return fault.what();
    }
}

void Workbench::dispatch(Command const& command) {
    if (command.name().empty()) {
        return;
    }
    auto const* const entry =
        std::find_if(std::begin(ENTRIES), std::end(ENTRIES),
                     [&](Entry const& known) { return command.name() == known.name; });
    if (entry == std::end(ENTRIES)) {
        throw std::invalid_argument("unknown command " + command.name()
                                    + "; help shows what there is");
    }
    (this->*entry->action)(command);
}

void Workbench::watchDevices(DeviceWatcher watcher) {
    MutexLock const lock(mMutex);
    mDeviceWatcher = std::move(watcher);
    if (mDeviceWatcher) {
        mDeviceWatcher(describeDevices());
    }
}

Json::Value Workbench::describeDevices() const {
    Json::Value devices = Json::arrayValue;
    for (auto const& device : mDevices) {
        devices.append(device->describe());
    }
    return devices;
}

std::string Workbench::help() {
    std::string text;
    for (auto const& entry : ENTRIES) {
        text += std::string("  ") + entry.usage + "\n      " + entry.meaning + "\n";
    }
    return text;
}

void Workbench::attach(Command const& command) {
    command.allowOnly(2, {"silent"}, {"caps", "type", "name", "content", "storage"});
    Device device;
    device.id = command.number(0, "a device id");
    device.mountPoint = command.word(1, "a mount point");
    device.type = command.option("type", "ipod");
    device.name = command.option("name", "Device " + std::to_string(device.id));
    device.content = command.option("content", "audio");
    device.storage = command.option("storage", "/dev/ipod" + std::to_string(device.id));
    add(std::make_unique<Ipod>(device, toCapabilities(command.option("caps", "8,3")), mReport));
    mReport.line("attached", device.toJson());
    if (!command.hasWord("silent")) {
        emit(device, true);
    }
}

void Workbench::add(std::unique_ptr<Ipod> device) {
    auto const former = find(device->device().id);
    if (former == mDevices.end()) {
        device->serve();
    } else {
        serveInsteadOf(**former, *device);
        mDevices.erase(former);
    }
    mDevices.push_back(std::move(device));
    publishList();
}

void Workbench::serveInsteadOf(Ipod& former, Ipod& device) {
    if (placeOf(former.device()) != placeOf(device.device())) {
        device.serve();
        return;
    }
    former.withdraw();
    try {
        device.serve();
    } catch (std::exception const&) {
        former.restore();
        throw;
    }
}

void Workbench::detach(Command const& command) {
    command.allowOnly(1, {"silent"});
    auto const slot = find(command);
    Device const device = (*slot)->device();
    mDevices.erase(slot);
    publishList();
    mReport.line("detached", device.toJson());
    if (!command.hasWord("silent")) {
        emit(device, false);
    }
}

void Workbench::list(Command const& command) {
    command.allowOnly(0);
    Json::Value fields;
    fields["devices"] = describeDevices();
    mReport.line("list", fields);
}

void Workbench::setCapabilities(Command const& command) {
    command.allowOnly(2);
    auto const slot = find(command);
    (*slot)->setCapabilities(toCapabilities(command.word(1, "a capability list")));
    mReport.line("changed", (*slot)->describe());
}

void Workbench::setFaults(Command const& command) {
    auto const slot = find(command);
    (*slot)->setFaults(Faults::from(command));
    mReport.line("changed", (*slot)->describe());
}

void Workbench::signal(Command const& command) {
    mMedia.emitDeviceState(command.rest());
    mReport.line("signalled");
}

void Workbench::answer(Command const& command) {
    std::string const& text = command.rest();
    if (text == "default") {
        mMedia.answerWith(MediaService::Answer::List);
    } else if (text == "none") {
        mMedia.answerWith(MediaService::Answer::None);
    } else if (text == "error") {
        mMedia.answerWith(MediaService::Answer::Error);
    } else {
        mMedia.answerWith(MediaService::Answer::Text, text);
    }
    mReport.line("answering");
}

void Workbench::reportHelp(Command const& command) {
    command.allowOnly(0);
    Json::Value fields;
    for (auto const& entry : ENTRIES) {
        fields["commands"].append(entry.usage);
    }
    mReport.line("help", fields);
}

void Workbench::quit(Command const& command) {
    command.allowOnly(0);
    mEnded = true;
}

Workbench::Slot Workbench::find(int id) {
    return std::find_if(mDevices.begin(), mDevices.end(),
                        [&](auto const& device) { return device->device().id == id; });
}

Workbench::Slot Workbench::find(Command const& command) {
    int const id = command.number(0, "a device id");
    auto const slot = find(id);
    if (slot == mDevices.end()) {
        throw std::invalid_argument("no device " + std::to_string(id)
                                    + "; list shows what is attached");
    }
    return slot;
}

void Workbench::publishList() {
    Json::Value devices = Json::arrayValue;
    for (auto const& device : mDevices) {
        Json::Value element;
        element["device"] = device->device().toJson();
        devices.append(element);
    }
    mMedia.setDevices(devices);
}

void Workbench::emit(Device const& device, bool available) {
    Json::Value state;
    state["available"] = available;
    state["device"] = device.toJson();
    mMedia.emitDeviceState(Json::FastWriter().write(state));
}
