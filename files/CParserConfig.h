#pragma once

#include <string>

/** A part of the configuration record that nothing fills and nothing reads. */
class CParserConfig {
public:
    CParserConfig();
    virtual ~CParserConfig();

    std::string TagFile() const;
    void TagFile(std::string path);
    std::string AmbigTagFile() const;
    void AmbigTagFile(std::string path);
    bool WriteToiPod() const;
    void WriteToiPod(bool enabled);
    std::string iPodPath() const;
    void iPodPath(std::string path);

private:
    std::string mTagFile;
    std::string mAmbigTagFile;
    bool mWriteToiPod = false;
    std::string mIPodPath;
};
