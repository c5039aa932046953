#include "files/CParseConfig.h"

#include "SaxAttributes.h"
#include "files/CConfigInfo.h"
#include "service/stdTools.h"

#include <string>

namespace {

std::string asFolder(std::string path) {
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    return path;
}

/** A bad number means the default: other readers of the file take no notice of the element. */
int asSeconds(std::string const& value) {
    constexpr int MOST = 3600;
    int seconds = 0;
    for (char const digit : value) {
        if (digit < '0' || digit > '9' || seconds > MOST) {
            return CConfigInfo::DRIVER_DEADLINE;
        }
        seconds = seconds * 10 + (digit - '0');
    }
    return seconds >= 1 && seconds <= MOST ? seconds : CConfigInfo::DRIVER_DEADLINE;
}

struct Option {
    char const* element;
    char const* attribute;
    void (*store)(CConfigInfo& config, std::string const& value);
};

/** Every option that the file can hold. */
constexpr Option OPTIONS[] = {
    {"taggerConfiguration", "debugVerbosity",
     [](CConfigInfo& config, std::string const& value) { config.debugVerbosity(value); }},
    {"multiples", "enabled",
     [](CConfigInfo& config, std::string const& value) {
         config.multiples_enable(stdTools::parseBool(value));
     }},
    {"multiples", "choose",
     [](CConfigInfo& config, std::string const& value) { config.multiples_choose(value); }},
    {"maxTagCount", "value",
     [](CConfigInfo& config, std::string const& value) {
         config.maxTagCount(stdTools::parseInt(value));
     }},
    {"localStorage", "folder",
     [](CConfigInfo& config, std::string const& value) { config.localStorage(asFolder(value)); }},
    {"safeKeeping", "enabled",
     [](CConfigInfo& config, std::string const& value) {
         config.safeKeeping(stdTools::parseBool(value));
     }},
    {"safeKeeping", "driverDeadline",
     [](CConfigInfo& config, std::string const& value) {
         config.driverDeadline(asSeconds(value));
     }},
};

} // namespace

CParseConfig::CParseConfig() = default;
CParseConfig::~CParseConfig() = default;

void CParseConfig::startElementNs(void* ctx, unsigned char const* localname,
                                  unsigned char const* /*prefix*/, unsigned char const* /*URI*/,
                                  int /*nb_namespaces*/, unsigned char const** /*namespaces*/,
                                  int nb_attributes, int /*nb_defaulted*/,
                                  unsigned char const** attributes) {
    auto& config = *static_cast<CConfigInfo*>(ctx);
    for (Option const& option : OPTIONS) {
        if (!isElement(localname, option.element)) {
            continue;
        }
        for (SaxAttribute const attribute : SaxAttributes(attributes, nb_attributes)) {
            if (attribute.is(option.attribute)) {
                option.store(config, attribute.value());
            }
        }
    }
}

void CParseConfig::endElementNs(void* /*ctx*/, unsigned char const* /*localname*/,
                                unsigned char const* /*prefix*/, unsigned char const* /*URI*/) {}
