#include "tellbus/Introspection.h"

#include "tellbus/Complaints.h"

#include <array>
#include <cstdlib>
#include <dbus/dbus.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace tellbus {

namespace {

constexpr char OPENING[] = "<interface";
constexpr char CLOSING[] = "</interface>";
constexpr std::size_t DESCRIPTION_LIMIT = std::size_t{1024} * 1024;

constexpr char OWN_INTERFACES[] = R"(  <interface name="org.freedesktop.DBus.Introspectable">
    <method name="Introspect">
      <arg name="data" type="s" direction="out"/>
    </method>
  </interface>
  <interface name="org.freedesktop.DBus.Peer">
    <method name="Ping"/>
    <method name="GetMachineId">
      <arg name="machine_uuid" type="s" direction="out"/>
    </method>
  </interface>
  <interface name="org.freedesktop.DBus.Properties">
    <method name="Get">
      <arg name="interface_name" type="s" direction="in"/>
      <arg name="property_name" type="s" direction="in"/>
      <arg name="value" type="v" direction="out"/>
    </method>
    <method name="GetAll">
      <arg name="interface_name" type="s" direction="in"/>
      <arg name="properties" type="a{sv}" direction="out"/>
    </method>
    <method name="Set">
      <arg name="interface_name" type="s" direction="in"/>
      <arg name="property_name" type="s" direction="in"/>
      <arg name="value" type="v" direction="in"/>
    </method>
  </interface>
)";

std::string environment(char const* name, std::string const& otherwise) {
    char const* const value = std::getenv(name);
    return value && *value ? value : otherwise;
}

/** Where data files are looked for, first to last, as the desktop's base directories say. */
std::vector<std::string> dataFolders() {
    std::vector<std::string> folders;
    folders.push_back(environment("XDG_DATA_HOME", environment("HOME", "") + "/.local/share"));
    std::istringstream list(environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share"));
    for (std::string folder; std::getline(list, folder, ':');) {
        if (!folder.empty()) {
            folders.push_back(folder);
        }
    }
    return folders;
}

std::string readLimited(std::istream& file) {
    std::string text(DESCRIPTION_LIMIT, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

std::string withoutComments(std::string const& text) {
    std::string rest;
    std::size_t from = 0;
    for (auto begin = text.find("<!--"); begin != std::string::npos;
         begin = text.find("<!--", from)) {
        rest.append(text, from, begin - from);
        auto const end = text.find("-->", begin);
        if (end == std::string::npos) {
            return rest;
        }
        from = end + 3;
    }
    return rest.append(text, from);
}

bool isText(std::string const& text) {
    return text.find('\0') == std::string::npos && dbus_validate_utf8(text.c_str(), nullptr);
}

std::string installedDescription(std::string const& serviceName) {
    for (auto const& folder : dataFolders()) {
        std::string path = folder;
        path.append("/dbus-1/interfaces/").append(serviceName).append(".xml");
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            continue;
        }
        std::string text = readLimited(file);
        if (isText(text)) {
            return text;
        }
        complain(Complaint::Description, path);
    }
    return std::string();
}

} // namespace

std::string interfacesOf(std::string const& description) {
    std::string const text = withoutComments(description);
    auto const begin = text.find(OPENING);
    auto const end = text.rfind(CLOSING);
    if (begin == std::string::npos || end == std::string::npos || end < begin) {
        return std::string();
    }
    return "  " + text.substr(begin, end + sizeof CLOSING - 1 - begin) + "\n";
}

std::string introspectionData(std::vector<Described> const& services,
                              std::set<std::string> const& children) {
    std::string data = DBUS_INTROSPECT_1_0_XML_DOCTYPE_DECL_NODE "<node>\n";
    data += OWN_INTERFACES;
    for (auto const& service : services) {
        data += interfacesOf(service.description.empty() ? installedDescription(service.name)
                                                         : service.description);
    }
    for (auto const& child : children) {
        data += "  <node name=\"" + child + "\"/>\n";
    }
    return data + "</node>\n";
}

} // namespace tellbus
