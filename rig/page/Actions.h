#pragma once

#include "rig/Workbench.h"
#include "rig/page/ServiceProcess.h"
#include "rig/page/UnitClient.h"

#include <json/json.h>
#include <string>

/**
 * What can be done on the page: {"action":"..",..} in, {"reply":..} or {"error":".."} out.
 *
 * | action | with |
 * |---|---|
 * | mark, clear | |
 * | attach | id, name, caps: the mount point is "ipod" and the id in the folder for mounts |
 * | detach | id |
 * | caps, fault | id, words: what stands behind the id in the command of that name |
 * | answer | words: the same |
 * | start, kill, restart | the service, where the rig started it |
 */
class Actions {
public:
    /** @param service null where the rig did not start it */
    Actions(Workbench& workbench, UnitClient& unit, ServiceProcess* service, std::string mounts);

    /** Any thread. Waits for the end of what it does. */
    Json::Value perform(Json::Value const& request);

private:
    using Action = Json::Value (Actions::*)(Json::Value const&);
    static Action find(std::string const& name);

    Json::Value mark(Json::Value const& request);
    Json::Value clear(Json::Value const& request);
    Json::Value attach(Json::Value const& request);
    Json::Value detach(Json::Value const& request);
    Json::Value setCapabilities(Json::Value const& request);
    Json::Value setFaults(Json::Value const& request);
    Json::Value answer(Json::Value const& request);
    Json::Value start(Json::Value const& request);
    Json::Value kill(Json::Value const& request);
    Json::Value restart(Json::Value const& request);

    Json::Value command(std::string const& line);
    ServiceProcess& service();

    Workbench& mWorkbench;
    UnitClient& mUnit;
    ServiceProcess* mService;
    std::string mMounts;
};
