// The two files of waiting tags. A write replaces the file in place and whole: what is in memory is
// then what is on disk, and to clear a file is to write it without tags.
#include "files/XMLTools.h"

#include "FileNames.h"
#include "files/CConfigInfo.h"
#include "tagdata/CAmbigTag.h"

#include <fstream>

template <class Tag, class Say>
void XMLTools::writeTagFile(std::string const& path, CLinkedList<Tag>* tags, unsigned int deviceId,
                            Say say) {
    say("fired");
    std::unique_ptr<CConfigInfo> const config(LoadConfig());
    say("Config Loaded");
    say("Target file: " + path);
    std::ofstream file(path);
    say("Outfile Opened");
    file << LOCAL_FILE_HEAD;
    if (tags != nullptr) {
        for (Tag* const tag : *tags) {
            if (isForDevice(tag, deviceId)) {
                file << tag->toXML();
            }
        }
    }
    say("Closing file");
    file << LOCAL_FILE_END;
    file.close();
    say("Finished");
}

void XMLTools::WriteTagXML(CLinkedList<CTag>* tags, unsigned int deviceId) {
    // The path is bound as a reference: LoadConfig() sets it before it is used.
    writeTagFile(tagFilePath, tags, deviceId, [this](std::string const& line) {
        log.Output("XMLTools_WriteTagXML", line, stdTools::Message);
    });
}

void XMLTools::WriteAmbigTagXML(CLinkedList<CAmbigTag>* tags, unsigned int deviceId) {
    // Silent, unlike its twin. Test: TagFiles.WriteAmbigTagXMLLogsNothingOfItsOwn.
    writeTagFile(ambigTagFilePath, tags, deviceId, [](std::string const&) {});
}
