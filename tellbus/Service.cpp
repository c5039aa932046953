#include "tellbus/Service.h"

#include <algorithm>
#include <utility>

namespace tellbus {

bool Services::add(ServicePtr service) {
    for (auto const& other : mServices) {
        if (other->path == service->path && other->name == service->name) {
            return false;
        }
    }
    mServices.push_back(std::move(service));
    return true;
}

bool Services::remove(ServicePtr const& service) {
    auto const found = std::find(mServices.begin(), mServices.end(), service);
    if (found == mServices.end()) {
        return false;
    }
    mServices.erase(found);
    return true;
}

void Services::clear() {
    mServices.clear();
}

bool Services::contains(ServicePtr const& service) const {
    return std::find(mServices.begin(), mServices.end(), service) != mServices.end();
}

ServicePtr Services::route(std::string_view path, std::string_view destination) const {
    ServicePtr first;
    bool const byOwnName = destination.empty() || destination.front() == ':';
    for (auto const& service : mServices) {
        if (service->path != path) {
            continue;
        }
        // The bus sends it here, so it has given the name, although its answer comes only after
        // the calls that it held back until then.
        // Test: ActivationOnBus.AnswersEveryCallThatTheBusHeldBackMeanwhile
        if (service->name == destination) {
            return service;
        }
        if (service->named && !first) {
            first = service;
        }
    }
    return byOwnName ? first : nullptr;
}

bool Services::hasName(std::string const& name) const {
    return std::any_of(mServices.begin(), mServices.end(),
                       [&](ServicePtr const& service) { return service->name == name; });
}

std::set<std::string> Services::names() const {
    std::set<std::string> names;
    for (auto const& service : mServices) {
        names.insert(service->name);
    }
    return names;
}

std::vector<Described> Services::describedAt(std::string_view path) const {
    std::vector<Described> described;
    for (auto const& service : mServices) {
        if (service->path == path) {
            described.push_back({service->name, service->description});
        }
    }
    return described;
}

std::set<std::string> Services::childrenOf(std::string_view path) const {
    std::string const prefix = path == "/" ? "/" : std::string(path) + "/";
    std::set<std::string> children;
    for (auto const& service : mServices) {
        if (service->path.size() > prefix.size() && service->path.rfind(prefix, 0) == 0) {
            auto const end = service->path.find('/', prefix.size());
            children.insert(service->path.substr(prefix.size(), end - prefix.size()));
        }
    }
    return children;
}

bool Services::hasObject(std::string_view path) const {
    bool const isPath = std::any_of(mServices.begin(), mServices.end(),
                                    [path](auto const& service) { return service->path == path; });
    return path == "/" || isPath || !childrenOf(path).empty();
}

} // namespace tellbus
