// Three files go in here and three texts come out: in between, tags are values in two lists, and
// the record is a map from a song to the devices that took it. One object serves one piece of work
// and owns what it has read; the files stay the state. Reading is tolerant, because a damaged file
// must not cost the tags before the damage; writing is exact, because any XML reader must give back
// what was put in.
#include "files/safe/KeptTags.h"

#include "FileNames.h"
#include "files/CConfigInfo.h"
#include "files/CParseTagId.h"
#include "files/MarkedTracks.h"
#include "files/safe/TolerantReader.h"
#include "files/safe/XmlText.h"
#include "service/stdTools.h"
#include "tagdata/CTagException.h"
#include "tagdata/CTagIdMgr.h"
#include "tagdata/TagFields.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace {

constexpr char CRLF[] = "\r\n";

constexpr char DIGITS[] = "0123456789";

using Attributes = std::map<std::string, std::string>;

/** Does what may throw a CTagException* for a bad number. @return whether it did not */
template <class Action>
bool converts(Action action) {
    try {
        action();
        return true;
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const failure(exception);
        return false;
    }
}

/** A bad number costs itself and marks the file as damaged; the tag stays. */
bool assignFields(CTag& tag, Attributes const& attributes) {
    bool good = true;
    for (auto const& [name, value] : attributes) {
        if (TagField const* const field = findTagField(name)) {
            good = converts([&, &text = value] { field->assign(tag, text); }) && good;
        }
    }
    return good;
}

bool assignButton(CAmbigTag& tag, Attributes const& attributes) {
    auto const found = attributes.find(BUTTON_PRESSED);
    return found == attributes.end()
           || converts([&] { tag.ButtonPressed(stdTools::parseInt(found->second)); });
}

std::string attribute(char const* name, std::string const& value) {
    return std::string(" ") + name + "=\"" + xmlEncoded(xmlHoldable(value)) + "\"";
}

std::string recordLine(std::string const& opening, CTag const& tag) {
    std::string line = "<" + opening;
    for (TagField const& field : tagFields()) {
        line += attribute(field.name, field.text(tag));
    }
    return line + "/>\n";
}

std::string lineOf(CTag const& tag) {
    return recordLine("Tag", tag);
}

std::string lineOf(CAmbigTag const& tag) {
    return recordLine(
        "AmbigTag" + attribute(BUTTON_PRESSED, stdTools::toString(tag.ButtonPressed())), tag);
}

template <class Tag>
std::string documentOf(std::vector<Tag> const& tags) {
    std::string text = LOCAL_FILE_HEAD;
    for (Tag const& tag : tags) {
        text += lineOf(tag);
    }
    return text + LOCAL_FILE_END;
}

std::string documentOf(std::map<SongIdentity, KeptTags::Delivery> const& record) {
    std::string text = LOCAL_FILE_HEAD;
    for (auto const& [song, delivery] : record) {
        auto const& [name, artist, songId] = song;
        text += "  <TagId" + attribute("Name", name) + attribute("Artist", artist)
                + attribute("iTunesSongID", songId) + attribute("Time", delivery.time) + ">\n";
        for (std::uint32_t const device : delivery.devices) {
            text += "    <DeviceId>" + std::to_string(device) + "</DeviceId>\n";
        }
        text += "  </TagId>\n";
    }
    return text + LOCAL_FILE_END;
}

bool isInteger(std::string const& value) {
    constexpr std::size_t MOST_DIGITS = 20;
    std::size_t const sign = !value.empty() && value[0] == '-' ? 1 : 0;
    std::size_t const digits = value.size() - sign;
    return digits >= 1 && digits <= MOST_DIGITS
           && value.find_first_not_of(DIGITS, sign) == std::string::npos;
}

bool isDate(std::string const& value) {
    constexpr std::string_view FORM = "0000-00-00T00:00:00Z";
    bool const hasForm =
        value.size() == FORM.size()
        && std::equal(FORM.begin(), FORM.end(), value.begin(), [](char form, char letter) {
               return form == '0' ? letter >= '0' && letter <= '9' : letter == form;
           });
    auto const between = [&value](std::size_t at, int least, int most) {
        int const number = std::stoi(value.substr(at, 2));
        return number >= least && number <= most;
    };
    return hasForm && between(5, 1, 12) && between(8, 1, 31) && between(11, 0, 23)
           && between(14, 0, 59) && between(17, 0, 59);
}

/**
 * A reader of property lists refuses a whole list for one value that is not of its element's kind.
 * What would be refused stands as a string.
 */
char const* elementFor(TagField const& field, std::string const& value) {
    std::string const element = field.element;
    bool fits = true;
    if (element == "integer") {
        fits = isInteger(value);
    } else if (element == "date") {
        fits = isDate(value);
    } else if (element == "data") {
        std::size_t const padding = value.size() - std::min(value.find('='), value.size());
        fits = value.size() % 4 == 0 && padding <= 2
               && value.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                          "0123456789+/=")
                      == std::string::npos
               && value.find_last_not_of('=') + padding + 1 == value.size();
    }
    return fits ? field.element : "string";
}

std::string entry(std::string const& name, std::string const& element, std::string const& value) {
    return "<key>" + name + "</key>" + CRLF + "<" + element + ">" + value + "</" + element + ">"
           + CRLF;
}

std::string dictionary(bool isAmbiguous, int button, CTag const& tag) {
    std::string text = std::string("<dict>") + CRLF;
    text += entry("AmbiguousTag", "integer", isAmbiguous ? "1" : "0");
    text += entry(BUTTON_PRESSED, "integer", stdTools::toString(button));
    for (TagField const& field : tagFields()) {
        if (field.isPresent(tag)) {
            std::string const value = xmlHoldable(field.text(tag));
            text += entry(field.name, elementFor(field, value), xmlEncoded(value));
        }
    }
    return text + "</dict>" + CRLF;
}

XmlEvents ignoringEvents() {
    return {[](std::string const&, Attributes const&) {}, [](std::string const&) {},
            [](std::string const&) {}};
}

/** Reads a file of the folder. */
struct Reading {
    int error = 0;
    bool unusable = false;
    bool damaged = false;
};

Reading readFile(KeepingFolder const& folder, char const* name, XmlEvents const& events) {
    KeepingFolder::Content const content = folder.open(name);
    if (content.fd == -1) {
        return {content.error, content.unusable, content.unusable};
    }
    XmlRead const result = readTolerantly(content.fd, events);
    int const error = errno;
    close(content.fd);
    return {result == XmlRead::Failed ? error : 0, false, result == XmlRead::Damaged};
}

char const* nameOf(KeptTags::File file) {
    return file == KeptTags::Tags         ? TAG_FILE
           : file == KeptTags::Candidates ? AMBIG_TAG_FILE
                                          : TAGGED_INFO_FILE;
}

template <class Tag>
bool contains(std::vector<Tag> const& tags, SongIdentity const& song) {
    return std::any_of(tags.begin(), tags.end(),
                       [&](Tag const& tag) { return identityOf(tag) == song; });
}

} // namespace

SongIdentity identityOf(CTag const& tag) {
    return {tag.Name(), tag.Artist(), tag.iTunesSongID()};
}

KeptTags::KeptTags(KeepingFolder& folder) : mFolder(folder) {}

int KeptTags::load() {
    int error = loadTags();
    error = error != 0 ? error : loadCandidates();
    return error != 0 ? error : loadRecord();
}

int KeptTags::loadTags() {
    bool numbers = true;
    XmlEvents events = ignoringEvents();
    events.start = [&](std::string const& element, Attributes const& attributes) {
        if (element == "Tag") {
            mTags.emplace_back();
            numbers = assignFields(mTags.back(), attributes) && numbers;
        }
    };
    Reading const reading = readFile(mFolder, TAG_FILE, events);
    return reading.error != 0            ? reading.error
           : reading.damaged || !numbers ? repair(Tags, reading.unusable)
                                         : 0;
}

int KeptTags::loadCandidates() {
    bool numbers = true;
    XmlEvents events = ignoringEvents();
    events.start = [&](std::string const& element, Attributes const& attributes) {
        if (element == "AmbigTag") {
            mCandidates.emplace_back();
            numbers = assignFields(mCandidates.back(), attributes) && numbers;
            numbers = assignButton(mCandidates.back(), attributes) && numbers;
        }
    };
    Reading const reading = readFile(mFolder, AMBIG_TAG_FILE, events);
    return reading.error != 0            ? reading.error
           : reading.damaged || !numbers ? repair(Candidates, reading.unusable)
                                         : 0;
}

int KeptTags::loadRecord() {
    Delivery* current = nullptr;
    bool inDevice = false;
    bool numbers = true;
    std::string device;
    XmlEvents events;
    events.start = [&](std::string const& element, Attributes attributes) {
        if (element == "TagId") {
            current =
                &mRecord[{attributes["Name"], attributes["Artist"], attributes["iTunesSongID"]}];
            current->time = attributes["Time"];
        }
        inDevice = element == "DeviceId";
        device.clear();
    };
    events.characters = [&](std::string const& text) {
        if (inDevice) {
            device += text;
        }
    };
    events.end = [&](std::string const& element) {
        if (element == "DeviceId" && current != nullptr) {
            numbers = converts([&] {
                          current->devices.push_back(
                              static_cast<std::uint32_t>(stdTools::parseULong(device)));
                      })
                      && numbers;
        }
        inDevice = false;
    };
    Reading const reading = readFile(mFolder, TAGGED_INFO_FILE, events);
    // The default way of working also records what only waits, for no device at all.
    for (auto at = mRecord.begin(); at != mRecord.end();) {
        auto& devices = at->second.devices;
        devices.erase(std::remove(devices.begin(), devices.end(), NODEVICE), devices.end());
        at = devices.empty() ? mRecord.erase(at) : std::next(at);
    }
    return reading.error != 0            ? reading.error
           : reading.damaged || !numbers ? repair(Record, reading.unusable)
                                         : 0;
}

int KeptTags::repair(File file, bool unusable) {
    std::string const what =
        nameOf(file) + std::string(unusable ? " is no file that can be read" : " is damaged");
    int error = mFolder.setAside(nameOf(file));
    error = error != 0 ? error : commit(file);
    mComplaints.push_back(error == 0
                              ? what
                                    + "; what could be read is kept, and the damaged file is "
                                      "set aside beside it"
                              : what + " and cannot be set aside: " + std::strerror(error));
    return error;
}

int KeptTags::total() const {
    return static_cast<int>(mTags.size() + mCandidates.size() / 2);
}

bool KeptTags::isWaiting(SongIdentity const& song) const {
    return contains(mTags, song) || contains(mCandidates, song);
}

bool KeptTags::hasTaken(SongIdentity const& song, std::uint32_t device) const {
    auto const found = mRecord.find(song);
    return found != mRecord.end()
           && std::count(found->second.devices.begin(), found->second.devices.end(), device) > 0;
}

bool KeptTags::isRecorded(SongIdentity const& song) const {
    return mRecord.count(song) > 0;
}

KeptTags::Offer KeptTags::offerFor(std::uint32_t device) const {
    Offer offer;
    for (CTag const& tag : mTags) {
        if (!hasTaken(identityOf(tag), device)) {
            offer.tags.push_back(&tag);
        }
    }
    for (CAmbigTag const& tag : mCandidates) {
        if (!hasTaken(identityOf(tag), device)) {
            offer.candidates.push_back(&tag);
        }
    }
    return offer;
}

std::string KeptTags::propertyList(CConfigInfo const& config, Offer const& offer) {
    constexpr int BUTTON_OF_A_SINGLE_TAG = 1;
    std::string text;
    for (CTag const* tag : offer.tags) {
        text += dictionary(false, BUTTON_OF_A_SINGLE_TAG, *tag);
    }
    for (CAmbigTag const* tag : offer.candidates) {
        text += dictionary(true, tag->ButtonPressed(), *tag);
    }
    return markedTracks(config, text);
}

void KeptTags::record(SongIdentity const& song, std::uint32_t device) {
    Delivery& delivery = mRecord[song];
    delivery.time = CParseTagId::getCurrentTime();
    if (!hasTaken(song, device)) {
        delivery.devices.push_back(device);
    }
}

void KeptTags::clearWaiting() {
    mTags.clear();
    mCandidates.clear();
}

std::string KeptTags::textOf(File file) const {
    return file == Tags         ? documentOf(mTags)
           : file == Candidates ? documentOf(mCandidates)
                                : documentOf(mRecord);
}

int KeptTags::commit(unsigned files) {
    std::vector<KeepingFolder::Change> changes;
    for (File const file : {Tags, Candidates, Record}) {
        if ((files & file) != 0) {
            changes.emplace_back(nameOf(file), textOf(file));
        }
    }
    return mFolder.commit(changes);
}
