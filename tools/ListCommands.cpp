// "list", "delivered", "plist" and "export": what lies in the service's files. They read the files
// that a configuration names and need no service. Each run reads them once into a ServiceFiles,
// which owns the records; what is printed comes from there, for people as a table, for programs as
// JSON.
#include "files/CConfigInfo.h"
#include "files/CParseTagId.h"
#include "tagdata/TagFields.h"
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/ServiceFiles.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <stdexcept>

namespace {

struct FileOptions {
    std::string configuration = DEFAULT_CONFIGURATION;
    std::string format;
    bool all = false;
    bool json = false;
};

// What waits

Json::Value waitingJson(ServiceFiles& kept) {
    Json::Value json;
    json["tags"] = Json::Value(Json::arrayValue);
    for (WaitingSong const& song : kept.waiting()) {
        json["tags"].append(toJson(song));
    }
    json["stored"] = static_cast<Json::UInt64>(kept.count());
    json["limit"] = kept.configuration().maxTagCount();
    return json;
}

std::string stationOf(CTag const& song) {
    std::string const letters = song.StationCallLetters();
    std::string const frequency = song.StationFrequency();
    return letters.empty() || frequency.empty() ? letters + frequency : letters + " " + frequency;
}

void printOverview(ServiceFiles const& kept, Console& console) {
    Table table({"No", "Name", "Artist", "Album", "Station", "Heard"});
    for (WaitingSong const& waiting : kept.waiting()) {
        CTag const& song = *waiting.song;
        table.add({waiting.number, song.Name(), song.Artist(), song.Album(), stationOf(song),
                   song.TimeStamp()});
    }
    if (!kept.waiting().empty()) {
        table.print(console.out, Style(console.colour));
    }
}

void printFields(ServiceFiles const& kept, Console& console) {
    for (WaitingSong const& waiting : kept.waiting()) {
        Table table;
        for (TagField const& field : tagFields()) {
            if (field.isPresent(*waiting.song)) {
                table.add({field.name, field.text(*waiting.song)});
            }
        }
        if (waiting.candidate != nullptr) {
            table.add({BUTTON_PRESSED, std::to_string(waiting.candidate->ButtonPressed())});
        }
        console.out << Style(console.colour).bold(waiting.number) << "\n";
        table.print(console.out, Style(console.colour));
        console.out << "\n";
    }
}

void list(FileOptions const& options, Console& console) {
    ServiceFiles kept(options.configuration);
    kept.readWaiting();
    if (options.json) {
        printJson(console, waitingJson(kept));
        return;
    }
    (options.all ? printFields : printOverview)(kept, console);
    console.out << counted(kept.count(), "tag") << " of at most "
                << kept.configuration().maxTagCount() << "\n";
}

// What went where

/** The day on which an entry is left out at the next write; empty for never. */
std::string endOf(std::string const& time) {
    if (time.empty()) {
        return {};
    }
    TimeInfo_t then{};
    CParseTagId::convertTimeValue(time, then);
    std::tm day{};
    day.tm_year = static_cast<int>(then.year) - 1900;
    day.tm_mon = static_cast<int>(then.month) - 1;
    day.tm_mday = static_cast<int>(then.day);
    TimeInfo_t now = then;
    while (!CParseTagId::isTooOld(then, now)) {
        ++day.tm_mday;
        timegm(&day);
        now = {static_cast<unsigned int>(day.tm_year + 1900),
               static_cast<unsigned int>(day.tm_mon + 1), static_cast<unsigned int>(day.tm_mday),
               0};
    }
    constexpr std::size_t LENGTH_OF_A_DAY = 10;
    return utcTime(timegm(&day)).substr(0, LENGTH_OF_A_DAY);
}

/** An entry of the record, with the words for its end. */
struct Delivered {
    explicit Delivered(CTagIdBlock const& entry) : block(entry) {
        try {
            end = endOf(entry.tagIdInfo().Time);
            isOver = CParseTagId::isCanNeglectOldTagId(entry.tagIdInfo().Time);
        } catch (std::out_of_range const&) {
            isReadable = false;
        }
    }

    std::string endText() const {
        if (!isReadable) {
            return "its time cannot be read";
        }
        return isOver ? "at the next write" : end.empty() ? "never" : end;
    }

    CTagIdBlock const& block;
    std::string end;
    bool isOver = false;
    bool isReadable = true;
};

std::vector<Delivered> deliveredSongs(CTagIdManager const& record) {
    std::vector<Delivered> songs;
    for (auto const& [key, block] : record) {
        if (block != nullptr) {
            songs.emplace_back(*block);
        }
    }
    return songs;
}

Json::Value toJson(Delivered const& song) {
    CTagIdInfo const& info = song.block.tagIdInfo();
    Json::Value json;
    json["Name"] = info.Name;
    json["Artist"] = info.Artist;
    json["iTunesSongID"] = info.iTunesSongID;
    json["Time"] = info.Time;
    json["devices"] = Json::Value(Json::arrayValue);
    for (unsigned int const id : song.block.deviceIds()) {
        json["devices"].append(static_cast<Json::Int>(id));
    }
    json["agesOut"] = song.end.empty() ? Json::Value() : Json::Value(song.end);
    json["isOver"] = song.isOver;
    return json;
}

/** The devices of an entry; a request that named none is recorded under -1. */
std::string devicesOf(CTagIdBlock const& block) {
    std::string text;
    for (unsigned int const id : block.deviceIds()) {
        auto const device = static_cast<int>(id);
        text += (text.empty() ? "" : ", ") + (device == -1 ? "none named" : std::to_string(device));
    }
    return text;
}

void delivered(FileOptions const& options, Console& console) {
    ServiceFiles const kept(options.configuration);
    std::unique_ptr<CTagIdManager> const record = kept.readRecord();
    std::vector<Delivered> const songs = deliveredSongs(*record);
    if (options.json) {
        Json::Value json;
        json["songs"] = Json::Value(Json::arrayValue);
        for (Delivered const& song : songs) {
            json["songs"].append(toJson(song));
        }
        printJson(console, json);
        return;
    }
    Table table({"Name", "Artist", "Song id", "Devices", "Ages out"});
    for (Delivered const& song : songs) {
        CTagIdInfo const& info = song.block.tagIdInfo();
        table.add(
            {info.Name, info.Artist, info.iTunesSongID, devicesOf(song.block), song.endText()});
    }
    if (!songs.empty()) {
        table.print(console.out, Style(console.colour));
    }
    console.out << counted(songs.size(), "song") << "\n";
}

// What an iPod would get

void plist(FileOptions const& options, Console& console) {
    ServiceFiles kept(options.configuration);
    kept.readWaiting();
    if (options.json) {
        Json::Value json;
        json["tags"] = static_cast<Json::UInt64>(kept.count());
        json["plist"] = kept.propertyList();
        printJson(console, json);
        return;
    }
    console.out << kept.propertyList();
    if (kept.count() == 0) {
        console.err << "nothing waits that would go to an iPod\n";
    }
}

// For other programs

std::string quoted(std::string const& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string cell = "\"";
    for (char const character : text) {
        cell += character == '"' ? "\"\"" : std::string(1, character);
    }
    return cell + "\"";
}

void printCsv(ServiceFiles const& kept, Console& console) {
    constexpr char LINE_END[] = "\r\n";
    console.out << "number,ambiguous," << BUTTON_PRESSED;
    for (TagField const& field : tagFields()) {
        console.out << "," << field.name;
    }
    console.out << LINE_END;
    for (WaitingSong const& song : kept.waiting()) {
        bool const isCandidate = song.candidate != nullptr;
        console.out << song.number << (isCandidate ? ",yes," : ",no,")
                    << (isCandidate ? std::to_string(song.candidate->ButtonPressed()) : "");
        for (TagField const& field : tagFields()) {
            console.out << "," << quoted(field.text(*song.song));
        }
        console.out << LINE_END;
    }
}

void exportTags(FileOptions const& options, Console& console) {
    bool const wantsJson = options.json || options.format == "json";
    if (options.json && !options.format.empty() && options.format != "json") {
        throw UsageError("--json and --format " + options.format + " ask for two formats");
    }
    ServiceFiles kept(options.configuration);
    kept.readWaiting();
    if (wantsJson) {
        printJson(console, waitingJson(kept));
    } else if (options.format == "csv") {
        printCsv(kept, console);
    } else if (options.format == "plist") {
        console.out << kept.propertyList();
    } else {
        throw UsageError("export needs --format json, csv or plist");
    }
}

using Run = void (*)(FileOptions const& options, Console& console);

std::shared_ptr<FileOptions> addFileCommand(CLI::App& command, Console& console, Run run) {
    auto options = std::make_shared<FileOptions>();
    addConfig(command, options->configuration);
    addJson(command, options->json);
    command.callback([options, &console, run] { run(*options, console); });
    return options;
}

} // namespace

void addList(CLI::App& command, Console& console) {
    auto const options = addFileCommand(command, console, list);
    command.add_flag("-a,--all", options->all, "print all fields of each");
}

void addDelivered(CLI::App& command, Console& console) {
    addFileCommand(command, console, delivered);
}

void addPlist(CLI::App& command, Console& console) {
    addFileCommand(command, console, plist);
}

void addExport(CLI::App& command, Console& console) {
    auto const options = addFileCommand(command, console, exportTags);
    limitTo(
        *command.add_option("--format", options->format, "json, csv or plist")->type_name("FORMAT"),
        {"json", "csv", "plist"});
}
