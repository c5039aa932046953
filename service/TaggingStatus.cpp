#include "service/TaggingStatus.h"

#include <array>

namespace {

/** Indexed by the number less one. */
constexpr std::array<char const*, TaggingStatus::LOCALFULL_IPOD_INCOMPATIBLE> NAMES = {
    "OK",
    "ERROR",
    "TARGET_FULL",
    "LOCAL_STORAGE_FULL",
    "STORED_LOCAL",
    "STORED_ON_TARGET",
    "TRANSFER_SUCCEEDED",
    "TRANSFER_FAILED",
    "STOREDLOCAL_IPOD_INCOMPATIBLE",
    "LOCALFULL_IPOD_INCOMPATIBLE",
};

} // namespace

TaggingStatus::TaggingStatus(Number status) {
    *this = static_cast<int>(status);
}

TaggingStatus& TaggingStatus::operator=(int status) {
    bool const known = status >= OK && status <= LOCALFULL_IPOD_INCOMPATIBLE;
    Name = known ? NAMES[static_cast<std::size_t>(status - OK)] : "";
    Value = known ? status : 0;
    return *this;
}

Json::Value toJson(TaggingStatus const& status) {
    Json::Value body(Json::objectValue);
    body["Name"] = status.Name;
    body["Value"] = status.Value;
    return body;
}
