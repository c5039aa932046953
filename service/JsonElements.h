#pragma once

#include <json/value.h>

#include <string>

// The lists of the JSON interface. What is no array is taken by the same two operations: a scalar
// or null has no elements, and an object that is not empty is indexed like an array, which throws.
// Tests: test_devices.Answer.test_an_empty_or_scalar_list_has_no_elements and test_process_end.

inline bool hasElements(Json::Value const& list) {
    Json::ArrayIndex const count = list.size();
    return count != 0;
}

template <class Visit>
void forEachElement(Json::Value const& list, Visit visit) {
    Json::ArrayIndex const count = list.size();
    for (Json::ArrayIndex index = 0; index < count; ++index) {
        visit(list[index]);
    }
}

inline void readIfPresent(Json::Value const& json, char const* key, std::string& member) {
    if (json.isMember(key)) {
        member = json[key].asString();
    }
}

inline void readIfPresent(Json::Value const& json, char const* key, int& member) {
    if (json.isMember(key)) {
        member = json[key].asInt();
    }
}

inline void readIfPresent(Json::Value const& json, char const* key, bool& member) {
    if (json.isMember(key)) {
        member = json[key].asBool();
    }
}

/** The id that a request names, -1 where it names none. */
inline int readDeviceId(Json::Value const& params) {
    int deviceId = -1;
    readIfPresent(params, "deviceID", deviceId);
    return deviceId;
}
