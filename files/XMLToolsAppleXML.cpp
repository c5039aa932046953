// The end of a tag's journey: the property list of marked tracks, composed whole in memory and
// given to the driver of the iPod's file system in one piece, so that an iPod never gets half a
// list.
#include "files/XMLTools.h"

#include "FileNames.h"
#include "Speaker.h"
#include "files/CConfigInfo.h"
#include "files/MarkedTracks.h"
#include "files/TagTextCommand.h"
#include "platform/ControlNode.h"
#include "platform/devctl.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CTagException.h"

#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

namespace {

void writeTestFile(std::string const& path, std::string const& text) {
    std::ofstream file(path);
    file << text;
}

std::string describe(int status, int reply) {
    return stdTools::toString(status) + " (" + std::strerror(status)
           + "): ret:" + stdTools::toString(reply);
}

} // namespace

template <class Tag>
std::string XMLTools::dictionariesOf(CLinkedList<Tag>* tags, unsigned int deviceId) {
    std::string text;
    for (Tag* const tag : *tags) {
        if (isForDevice(tag, deviceId)) {
            text += tag->toAppleXML();
        }
    }
    return text;
}

void XMLTools::CraftAppleXML(CConfigInfo* config, CLinkedList<CTag>* tags,
                             CLinkedList<CAmbigTag>* ambigTags, std::string mountPoint,
                             unsigned int deviceId) {
    Speaker const speaker(log, "XMLTools_CraftAppleXML");
    speaker.say("Starting");
    tagFilePath = config->localStorage() + TAG_FILE;
    ambigTagFilePath = config->localStorage() + AMBIG_TAG_FILE;
    speaker.say("Initial tag count: " + log.toString(tags->Count()));
    std::string tracks = dictionariesOf(tags, deviceId);
    speaker.say("Initial AmbigTag count: " + log.toString(ambigTags->Count()));
    tracks += dictionariesOf(ambigTags, deviceId);
    speaker.say("Writing XML to: " + mountPoint);
    try {
        WriteAppleXML(markedTracks(*config, tracks), false, mountPoint);
    } catch (CTagException*) {
        speaker.say("Rethrowing planned exception");
        throw;
    }
    speaker.say("finished");
}

void XMLTools::WriteAppleXML(std::string text, bool testing, std::string path) {
    Speaker const speaker(log, "XMLTools_WriteAppleXML");
    speaker.say("Testing :" + log.toString(testing));
    if (testing) {
        speaker.say("Writing to Testfile");
        writeTestFile(path + APPLE_TEST_FILE, text);
        speaker.say("finished");
        return;
    }
    speaker.say("Writing to iPod at :" + path);
    int const node = openControlNode((path + CONTROLNODE).c_str(), O_RDWR);
    if (node == -1) {
        speaker.say("Failed to access iPod", stdTools::Error);
        throwTagException(CTagException::ExIpodWrite, "iPod not Availible");
    }
    int reply = 0;
    int const status =
        devctl(node, static_cast<int>(DCMD_TAG_TEXT), text.data(), text.size(), &reply);
    if (status != 0) {
        // The descriptor stays open; only success closes it.
        // Test: WriteAppleXML.ARefusedTextLeavesTheDescriptorOpen.
        std::string const details = describe(status, reply);
        speaker.say("Write of tag file to iPod failed err:" + details, stdTools::Error);
        throwTagException(CTagException::ExIpodWrite, details, status);
    }
    close(node);
    speaker.say("Items were written, only iTunes can confirm contents");
    speaker.say("finished");
}
