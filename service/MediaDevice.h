#pragma once

#include <string>

/** An attached iPod as the media service reports it. Only id and mountPoint matter afterwards. */
class CMediaDevice {
public:
    virtual ~CMediaDevice();

    std::string content() const;
    void content(std::string value);

    /** The media service's number for the device. */
    int id() const;
    void id(int value);

    /** Folder below which the iPod driver offers its control node. */
    std::string mountPoint() const;
    void mountPoint(std::string value);

    std::string name() const;
    void name(std::string value);

    std::string storage() const;
    void storage(std::string value);

    /** "ipod" for the devices that are kept. */
    std::string Type() const;
    void Type(std::string value);

private:
    std::string mContent;
    int mId = 0;
    std::string mMountPoint;
    std::string mName;
    std::string mStorage;
    std::string mType;
};
