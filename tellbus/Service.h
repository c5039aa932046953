#pragma once

#include "tellbus/tellbus.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tellbus {

class Connection;

/** One registration: a name on the bus and the object path under it that takes calls. */
struct Service {
    std::string name;
    std::string path;
    TELLBUS_fRequest callback = nullptr;
    void* cookie = nullptr;
    std::weak_ptr<Connection> connection;

    // Guarded by the connection.
    bool named = false;      ///< the bus has said that it gave the name
    std::string description; ///< introspection data of the caller, empty if it gave none
};
using ServicePtr = std::shared_ptr<Service>;

/** What introspection has to know of a service. */
struct Described {
    std::string name;
    std::string description;
};

/** The services of one connection. The connection guards it. */
class Services {
public:
    /** False if the connection already serves that path under that name. */
    bool add(ServicePtr service);

    /** False if the service was not there. */
    bool remove(ServicePtr const& service);
    void clear();

    bool contains(ServicePtr const& service) const;

    /**
     * Who takes a call: the service with that path and name, or else, if the call went to the
     * connection's own name, the first with that path whose name is there. Null if there is none.
     */
    ServicePtr route(std::string_view path, std::string_view destination) const;

    /** Whether a service of the connection has that name. */
    bool hasName(std::string const& name) const;
    std::set<std::string> names() const;

    std::vector<Described> describedAt(std::string_view path) const;

    /** The next elements of the registered paths below a path, each once. */
    std::set<std::string> childrenOf(std::string_view path) const;

    /** Whether a service is at the path or below it; the root is always there. */
    bool hasObject(std::string_view path) const;

private:
    std::vector<ServicePtr> mServices;
};

} // namespace tellbus
