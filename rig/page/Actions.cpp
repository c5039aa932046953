#include "rig/page/Actions.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace {

/** A text of the request for a command line: one line, without the quotes that would end a word. */
std::string textOf(Json::Value const& request, char const* key) {
    Json::Value const& value = request[key];
    if (!value.isString()) {
        throw std::invalid_argument(std::string("\"") + key + "\" is missing or no text");
    }
    std::string text = value.asString();
    if (std::any_of(text.begin(), text.end(), [](unsigned char letter) { return letter < ' '; })) {
        throw std::invalid_argument(std::string("\"") + key + "\" holds control characters");
    }
    return text;
}

std::string quoted(std::string const& text) {
    if (text.find('"') != std::string::npos) {
        throw std::invalid_argument("a name cannot hold the double quote");
    }
    return "\"" + text + "\"";
}

std::string idOf(Json::Value const& request) {
    if (!request["id"].isInt()) {
        throw std::invalid_argument("\"id\" is missing or no whole number");
    }
    return std::to_string(request["id"].asInt());
}

} // namespace

Actions::Actions(Workbench& workbench, UnitClient& unit, ServiceProcess* service,
                 std::string mounts)
    : mWorkbench(workbench), mUnit(unit), mService(service), mMounts(std::move(mounts)) {}

Actions::Action Actions::find(std::string const& name) {
    static std::map<std::string, Action> const actions{
        {"mark", &Actions::mark},
        {"clear", &Actions::clear},
        {"attach", &Actions::attach},
        {"detach", &Actions::detach},
        {"caps", &Actions::setCapabilities},
        {"fault", &Actions::setFaults},
        {"answer", &Actions::answer},
        {"start", &Actions::start},
        {"kill", &Actions::kill},
        {"restart", &Actions::restart},
    };
    auto const found = actions.find(name);
    if (found == actions.end()) {
        throw std::invalid_argument("there is no action \"" + name + "\"");
    }
    return found->second;
}

Json::Value Actions::perform(Json::Value const& request) {
    Json::Value answer;
    try {
        if (!request.isObject()) {
            throw std::invalid_argument("an action is an object");
        }
        answer["reply"] = (this->*find(textOf(request, "action")))(request);
    } catch (std::exception const& fault) {
        answer["error"] = fault.what();
    }
    return answer;
}

Json::Value Actions::mark(Json::Value const&) {
    return mUnit.callRadio("tagNow");
}

Json::Value Actions::clear(Json::Value const&) {
    return mUnit.callService("clearAllLocalTags");
}

Json::Value Actions::attach(Json::Value const& request) {
    std::string const id = idOf(request);
    return command("attach " + id + " " + quoted(mMounts + "/ipod" + id) + " name="
                   + quoted(textOf(request, "name")) + " caps=" + quoted(textOf(request, "caps")));
}

Json::Value Actions::detach(Json::Value const& request) {
    return command("detach " + idOf(request));
}

Json::Value Actions::setCapabilities(Json::Value const& request) {
    return command("caps " + idOf(request) + " " + textOf(request, "words"));
}

Json::Value Actions::setFaults(Json::Value const& request) {
    return command("fault " + idOf(request) + " " + textOf(request, "words"));
}

Json::Value Actions::answer(Json::Value const& request) {
    return command("answer " + textOf(request, "words"));
}

Json::Value Actions::start(Json::Value const&) {
    service().start();
    return "started";
}

Json::Value Actions::kill(Json::Value const&) {
    service().kill();
    return "killed";
}

Json::Value Actions::restart(Json::Value const& request) {
    kill(request);
    return start(request);
}

Json::Value Actions::command(std::string const& line) {
    std::string const fault = mWorkbench.perform(line);
    if (!fault.empty()) {
        throw std::invalid_argument(fault);
    }
    return "done";
}

ServiceProcess& Actions::service() {
    if (mService == nullptr) {
        throw std::runtime_error("the rig did not start the service; start the rig with --service");
    }
    return *mService;
}
