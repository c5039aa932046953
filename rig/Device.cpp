#include "rig/Device.h"

Json::Value Device::toJson() const {
    Json::Value fields;
    fields["content"] = content;
    fields["id"] = id;
    fields["mountPoint"] = mountPoint;
    fields["name"] = name;
    fields["storage"] = storage;
    fields["type"] = type;
    return fields;
}
