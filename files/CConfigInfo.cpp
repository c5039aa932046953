#include "files/CConfigInfo.h"

#include "files/CParserConfig.h"

#include <utility>

namespace {

std::string headKey(char const* name, char const* type, std::string const& value) {
    return std::string("<key>") + name + "</key>\r\n<" + type + ">" + value + "</" + type + ">\r\n";
}

} // namespace

CConfigInfo::CConfigInfo(bool debug) : mParser(new CParserConfig) {
    mLog.DEBUG = debug;
}

CConfigInfo::~CConfigInfo() {
    delete mParser;
}

int CConfigInfo::MajorVersion() const {
    return mMajorVersion;
}
void CConfigInfo::MajorVersion(int version) {
    mMajorVersion = version;
}

int CConfigInfo::MinorVersion() const {
    return mMinorVersion;
}
void CConfigInfo::MinorVersion(int version) {
    mMinorVersion = version;
}

int CConfigInfo::ManufacturerID() const {
    return mManufacturerID;
}
void CConfigInfo::ManufacturerID(int id) {
    mManufacturerID = id;
}

std::string CConfigInfo::ManufacturerName() const {
    return mManufacturerName;
}
void CConfigInfo::ManufacturerName(std::string name) {
    mManufacturerName = std::move(name);
}

std::string CConfigInfo::DeviceName() const {
    return mDeviceName;
}
void CConfigInfo::DeviceName(std::string name) {
    mDeviceName = std::move(name);
}

CParserConfig* CConfigInfo::Parser() const {
    return mParser;
}
void CConfigInfo::Parser(CParserConfig* parser) {
    mParser = parser;
}

std::string CConfigInfo::debugVerbosity() const {
    return mDebugVerbosity;
}
void CConfigInfo::debugVerbosity(std::string verbosity) {
    mDebugVerbosity = std::move(verbosity);
}

bool CConfigInfo::multiples_enable() const {
    return mMultiplesEnable;
}
void CConfigInfo::multiples_enable(bool enabled) {
    mMultiplesEnable = enabled;
}

std::string CConfigInfo::multiples_choose() const {
    return mMultiplesChoose;
}
void CConfigInfo::multiples_choose(std::string policy) {
    mMultiplesChoose = std::move(policy);
}

int CConfigInfo::maxTagCount() const {
    return mMaxTagCount;
}
void CConfigInfo::maxTagCount(int count) {
    mMaxTagCount = count;
}

std::string CConfigInfo::localStorage() const {
    return mLocalStorage;
}
void CConfigInfo::localStorage(std::string folder) {
    mLocalStorage = std::move(folder);
}

bool CConfigInfo::safeKeeping() const {
    return mSafeKeeping;
}
void CConfigInfo::safeKeeping(bool enabled) {
    mSafeKeeping = enabled;
}

int CConfigInfo::driverDeadline() const {
    return mDriverDeadline;
}
void CConfigInfo::driverDeadline(int seconds) {
    mDriverDeadline = seconds;
}

std::string CConfigInfo::toAppleXML() const {
    return headKey("MajorVersion", "integer", mLog.toString(mMajorVersion))
           + headKey("MinorVersion", "integer", mLog.toString(mMinorVersion))
           + headKey("ManufacturerID", "integer", mLog.toString(mManufacturerID))
           + headKey("ManufacturerName", "string", mManufacturerName)
           + headKey("DeviceName", "string", mDeviceName);
}
