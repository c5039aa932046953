#include "service/MediaDevice.h"

#include <utility>

CMediaDevice::~CMediaDevice() = default;

std::string CMediaDevice::content() const {
    return mContent;
}
void CMediaDevice::content(std::string value) {
    mContent = std::move(value);
}

int CMediaDevice::id() const {
    return mId;
}
void CMediaDevice::id(int value) {
    mId = value;
}

std::string CMediaDevice::mountPoint() const {
    return mMountPoint;
}
void CMediaDevice::mountPoint(std::string value) {
    mMountPoint = std::move(value);
}

std::string CMediaDevice::name() const {
    return mName;
}
void CMediaDevice::name(std::string value) {
    mName = std::move(value);
}

std::string CMediaDevice::storage() const {
    return mStorage;
}
void CMediaDevice::storage(std::string value) {
    mStorage = std::move(value);
}

std::string CMediaDevice::Type() const {
    return mType;
}
void CMediaDevice::Type(std::string value) {
    mType = std::move(value);
}
