#include "files/CParserConfig.h"

#include <utility>

CParserConfig::CParserConfig() = default;
CParserConfig::~CParserConfig() = default;

std::string CParserConfig::TagFile() const {
    return mTagFile;
}
void CParserConfig::TagFile(std::string path) {
    mTagFile = std::move(path);
}

std::string CParserConfig::AmbigTagFile() const {
    return mAmbigTagFile;
}
void CParserConfig::AmbigTagFile(std::string path) {
    mAmbigTagFile = std::move(path);
}

bool CParserConfig::WriteToiPod() const {
    return mWriteToiPod;
}
void CParserConfig::WriteToiPod(bool enabled) {
    mWriteToiPod = enabled;
}

std::string CParserConfig::iPodPath() const {
    return mIPodPath;
}
void CParserConfig::iPodPath(std::string path) {
    mIPodPath = std::move(path);
}
