// "doctor", what is on the bus. Each question stands by itself and ends as findings, a failure too,
// so that one thing that is broken hides no other. Without a bus there is nobody to ask, which is
// said once as the finding about the bus; the others are then "not seen". Nothing is kept but
// the service's process, and nothing is changed: even the question whether this user may mark is a
// request without tags.
#include "tools/BusDaemon.h"
#include "tools/Checkup.h"
#include "tools/Devices.h"
#include "tools/Failures.h"
#include "tools/ProcessTime.h"
#include "tools/Replies.h"
#include "tools/Requests.h"
#include "tools/ServiceLink.h"
#include "tools/Text.h"

#include <filesystem>

namespace {

constexpr char BUS[] = "bus";
constexpr char POLICY[] = "policy";
constexpr char SERVICE[] = "service";
constexpr char MEDIA[] = "media service";

constexpr char REFUSED[] = "org.freedesktop.DBus.Error.AccessDenied";
constexpr char POLICY_FILE[] = "com.veldan.service.Songlatch.conf";
constexpr char const* POLICY_FOLDERS[] = {"/etc/dbus-1/system.d/", "/usr/share/dbus-1/system.d/",
                                          "/usr/local/share/dbus-1/system.d/"};

/** A request that marks nothing: what comes back is the policy's word, or a harmless ERROR. */
constexpr char EMPTY_REQUEST[] = R"({"tags":[]})";

Finding notSeen(char const* area, char const* reason) {
    return {area, Health::NotSeen, reason, ""};
}

/** Where the policy stands on the system's own bus; empty if it does not. */
std::string policyFile() {
    for (char const* const folder : POLICY_FOLDERS) {
        std::string path = std::string(folder) + POLICY_FILE;
        if (std::filesystem::exists(path)) {
            return path;
        }
    }
    return {};
}

bool refuses(BusDaemon& daemon, char const* method, char const* parameters) {
    return daemon.errorOf(TAGGING_SERVICE.name, TAGGING_SERVICE.path, method, parameters)
           == REFUSED;
}

Finding policyOfARunningService() {
    BusDaemon daemon;
    if (refuses(daemon, "getProperties", R"({"props":[]})")) {
        return {POLICY, Health::Bad, "this user may not even ask the service",
                "Install the policy " + std::string(POLICY_FILE) + " in " + POLICY_FOLDERS[1]
                    + " and reload the bus (systemctl reload dbus)."};
    }
    if (refuses(daemon, "tagRequest", EMPTY_REQUEST)) {
        return {POLICY, Health::Doubtful, "this user may ask and watch, but not mark or clear",
                "Run as root, or as a member of the group songlatch."};
    }
    return {POLICY, Health::Good, "this user may ask, mark and clear", ""};
}

Finding policyWithoutAService() {
    std::string const file = policyFile();
    if (file.empty()) {
        return {POLICY, Health::Doubtful,
                "no " + std::string(POLICY_FILE) + " is installed for the system bus",
                "On the system bus the service needs it to take its name: install it in "
                    + std::string(POLICY_FOLDERS[1]) + "."};
    }
    return {POLICY, Health::Good, file + " is installed", ""};
}

Finding missingService() {
    if (BusDaemon().canStart(TAGGING_SERVICE.name)) {
        return {
            SERVICE, Health::Bad, "not running; the bus starts it at the first call",
            "Call it (songlatchctl status), or: systemctl start songlatch. If it does not stay, "
            "its log says why: journalctl -u songlatch."};
    }
    return {SERVICE, Health::Bad, std::string(TAGGING_SERVICE.name) + " is not on the bus",
            "Start it: systemctl start songlatch. Its log says why it ended: journalctl -u "
            "songlatch."};
}

std::string runningText(unsigned int process) {
    auto const since = processStart(process);
    return "running" + (since ? " since " + localTime(*since) : std::string()) + ", process "
           + std::to_string(process);
}

Finding deviceFinding(Json::Value const& device) {
    std::string const name = textAt(device, "name");
    std::string const node = textAt(device, "mountPoint") + "/.FS_info./control";
    std::string const label =
        "iPod " + shown(device["id"]) + (name.empty() ? "" : " (" + name + ")");
    std::error_code error;
    if (!std::filesystem::exists(node, error)) {
        return {MEDIA, Health::Doubtful, label + " has no " + node + " that can be seen from here",
                "Check that the iPod driver runs and mounts it there."};
    }
    return {MEDIA, Health::Good, label + " with its driver at " + node, ""};
}

std::vector<Finding> devicesIn(std::string const& answer) {
    std::vector<Finding> findings;
    Json::Value const parsed = parseReply(answer);
    Json::Value const& devices = parsed["devices"];
    for (Json::Value const& entry : devices.isArray() ? devices : Json::Value(Json::arrayValue)) {
        Json::Value const device = entry.isObject() ? entry["device"] : Json::Value();
        if (textAt(device, "type") == "ipod") {
            findings.push_back(deviceFinding(device));
        }
    }
    if (findings.empty()) {
        findings.push_back({MEDIA, Health::Good, "answers; no iPod is attached", ""});
    }
    return findings;
}

} // namespace

BusCheckup::BusCheckup(int timeoutSeconds)
    : mTimeout(timeoutSeconds), mBus{BUS, Health::Good, busAddress(), ""} {
    try {
        mProcess = BusDaemon().processOf(TAGGING_SERVICE.name).value_or(0);
        mHasBus = true;
    } catch (Failure const& failure) {
        mBus = {BUS, Health::Bad, failure.what(),
                "Start it (systemctl start dbus), or name another one in "
                "DBUS_SYSTEM_BUS_ADDRESS."};
    }
}

std::vector<Finding> BusCheckup::policy() const {
    if (!mHasBus) {
        return {notSeen(POLICY, "there is no bus to ask")};
    }
    return {hasService() ? policyOfARunningService() : policyWithoutAService()};
}

std::vector<Finding> BusCheckup::service() const {
    if (!mHasBus) {
        return {notSeen(SERVICE, "there is no bus to ask")};
    }
    if (!hasService()) {
        return {missingService()};
    }
    try {
        ServiceLink().call(TAGGING_SERVICE, "getProperties", R"({"props":[]})", mTimeout);
        return {{SERVICE, Health::Good, runningText(mProcess), ""}};
    } catch (Failure const& failure) {
        return {{SERVICE, Health::Bad, failure.what(),
                 "If it stays so, restart it: systemctl restart songlatch."}};
    }
}

std::vector<Finding> BusCheckup::mediaService() const {
    if (!mHasBus) {
        return {notSeen(MEDIA, "there is no bus to ask")};
    }
    try {
        ServiceLink link;
        if (!link.isThere(MEDIA_SERVICE)) {
            return {{MEDIA, Health::Bad, std::string(MEDIA_SERVICE.name) + " is not on the bus",
                     MEDIA_SERVICE.cure}};
        }
        return devicesIn(link.call(MEDIA_SERVICE, "getDevices", "{}", mTimeout));
    } catch (Failure const& failure) {
        return {{MEDIA, Health::Bad, failure.what(), "Check the media service's own log."}};
    }
}
