#pragma once

#include "service/stdTools.h"

#include <string>

class CParserConfig;

/** The value of "choose" that sends tags to the iPod that a request names. */
constexpr char SPECIFY[] = "specify";

/**
 * What the configuration file says, and the fixed identity that heads every property list.
 *
 * XMLTools::LoadConfig makes one; whoever called it deletes it. Setters store and check nothing.
 */
class CConfigInfo {
public:
    /** @param debug DEBUG of the record's own logging object */
    explicit CConfigInfo(bool debug);
    /** Deletes the Parser record that it holds at the time. */
    virtual ~CConfigInfo();
    CConfigInfo(CConfigInfo const&) = delete;
    CConfigInfo& operator=(CConfigInfo const&) = delete;

    int MajorVersion() const;
    void MajorVersion(int version);
    int MinorVersion() const;
    void MinorVersion(int version);
    int ManufacturerID() const;
    void ManufacturerID(int id);
    std::string ManufacturerName() const;
    void ManufacturerName(std::string name);
    std::string DeviceName() const;
    void DeviceName(std::string name);

    /** Owned by the configuration. */
    CParserConfig* Parser() const;
    /** Takes the new record over and forgets the old one, which then belongs to the caller. */
    void Parser(CParserConfig* parser);

    /** Kept as text; nothing looks at it. */
    std::string debugVerbosity() const;
    void debugVerbosity(std::string verbosity);
    /** Whether more than one of the attached iPods may be considered; false unless the file says
     * "true". */
    bool multiples_enable() const;
    void multiples_enable(bool enabled);
    /** SPECIFY for the iPod that a request names, anything else for all of them. */
    std::string multiples_choose() const;
    void multiples_choose(std::string policy);
    /** How many tags may be stored locally; 0 if the file does not say. */
    int maxTagCount() const;
    void maxTagCount(int count);
    /** Folder of the local files; ends in a slash unless it is empty. */
    std::string localStorage() const;
    void localStorage(std::string folder);

    /** Whether tags are kept so that no accident costs one that was accepted. */
    bool safeKeeping() const;
    void safeKeeping(bool enabled);
    /** Seconds that an iPod's driver has for what it is asked, under safe keeping only. */
    int driverDeadline() const;
    void driverDeadline(int seconds);
    static constexpr int DRIVER_DEADLINE = 10;

    /** The five head keys of a property list, values as they stand, lines ending in CR LF. */
    std::string toAppleXML() const;

private:
    int mMajorVersion = 1;
    int mMinorVersion = 1;
    int mManufacturerID = 1000110009;
    std::string mManufacturerName = "VELDAN";
    std::string mDeviceName = "iPod-Car";
    CParserConfig* mParser;
    stdTools mLog;
    std::string mDebugVerbosity;
    bool mMultiplesEnable = false;
    std::string mMultiplesChoose;
    int mMaxTagCount = 0;
    std::string mLocalStorage;
    bool mSafeKeeping = false;
    int mDriverDeadline = DRIVER_DEADLINE;
};
