// "remove": one waiting tag less. The service keeps nothing between two pieces of work and reads
// its files for each of them, so the song is taken out of the file; how that is safe beside a
// service that writes the same file is told in ExchangedFile.cpp. What it cannot keep is that a
// piece of work which had read the file before writes the song back: then the removal begins anew.
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/HeldFile.h"
#include "tools/ServiceFiles.h"
#include "tools/ServiceLink.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

namespace {

constexpr int MOST_ATTEMPTS = 8;
constexpr int MOST_READS = 100;
constexpr int QUIET_ROUNDS = 2;

struct RemoveOptions {
    std::string configuration = DEFAULT_CONFIGURATION;
    std::string which;
    std::string name;
    int timeout = DEFAULT_TIMEOUT_SECONDS;
    bool json = false;
};

/** The service, asked something small: it handles one piece of work after the other. */
class Quiet {
public:
    explicit Quiet(int timeout) : mTimeout(timeout) {
        try {
            mLink = std::make_unique<ServiceLink>();
        } catch (Failure const&) {
            mLink = nullptr; // no bus, so no service that is called
        }
    }

    void operator()() const {
        if (mLink && mLink->isThere(TAGGING_SERVICE)) {
            mLink->call(TAGGING_SERVICE, "getProperties", R"({"props":[]})", mTimeout);
        }
    }

private:
    int mTimeout;
    std::unique_ptr<ServiceLink> mLink;
};

/** When each file was written last; a file that is not there, never. */
std::vector<std::filesystem::file_time_type> timesOf(std::vector<std::string> const& paths) {
    std::vector<std::filesystem::file_time_type> times;
    for (std::string const& path : paths) {
        std::error_code missing;
        auto const time = std::filesystem::last_write_time(path, missing);
        times.push_back(missing ? std::filesystem::file_time_type::min() : time);
    }
    return times;
}

/**
 * Reads until nothing has been written while the service ended what it was doing, twice in a row.
 * In the middle of a request its files are empty for a moment, and two such moments look the same
 * but for the time of the writing, which the system counts in steps.
 */
template <class Read>
auto settled(Read read, std::vector<std::string> const& paths, Quiet const& quiet) {
    auto times = timesOf(paths);
    auto before = read();
    int rounds = 0;
    for (int reads = 0; reads < MOST_READS; ++reads) {
        quiet();
        auto const timesNow = timesOf(paths);
        auto now = read();
        rounds = now == before && timesNow == times ? rounds + 1 : 0;
        if (rounds == QUIET_ROUNDS) {
            return now;
        }
        before = std::move(now);
        times = timesNow;
    }
    throw Failure("the service rewrites its files all the time; try again when it is less busy");
}

// Which one

bool isNumberOf(WaitingSong const& song, std::string const& which) {
    return which == song.number || which == std::to_string(song.tag);
}

std::vector<WaitingSong> byNumber(ServiceFiles const& kept, std::string const& which) {
    std::vector<WaitingSong> songs;
    std::copy_if(kept.waiting().begin(), kept.waiting().end(), std::back_inserter(songs),
                 [&](WaitingSong const& song) { return isNumberOf(song, which); });
    return songs;
}

/** The one tag with a song of that name: all its candidates. */
std::vector<WaitingSong> byName(ServiceFiles const& kept, std::string const& name) {
    std::vector<std::size_t> tags;
    std::string numbers;
    for (WaitingSong const& song : kept.waiting()) {
        bool const isKnown = !tags.empty() && tags.back() == song.tag;
        if (song.song->Name() == name && !isKnown) {
            tags.push_back(song.tag);
            numbers += (numbers.empty() ? "" : ", ") + std::to_string(song.tag);
        }
    }
    if (tags.size() > 1) {
        throw Failure("several waiting tags are called \"" + name + "\": say which of " + numbers);
    }
    return tags.empty() ? std::vector<WaitingSong>() : byNumber(kept, numbers);
}

std::vector<WaitingSong> chosen(ServiceFiles const& kept, RemoveOptions const& options) {
    std::vector<WaitingSong> songs;
    if (options.name.empty()) {
        songs = byNumber(kept, options.which);
    }
    if (songs.empty()) {
        songs = byName(kept, options.name.empty() ? options.which : options.name);
    }
    if (songs.empty()) {
        throw Failure("no waiting tag has the number or the name \""
                      + (options.name.empty() ? options.which : options.name)
                      + "\"; songlatchctl list shows them");
    }
    return songs;
}

// Out of the text

/** The element with the line it stands on, if it stands there alone. */
ElementPlace withLine(ElementPlace place, std::string const& text) {
    std::size_t const before = text.find_last_not_of(" \t", place.begin - 1);
    bool const beginsLine = before != std::string::npos && text[before] == '\n';
    std::size_t const after = text.find_first_not_of(" \t\r", place.end);
    bool const endsLine = after != std::string::npos && text[after] == '\n';
    return beginsLine && endsLine ? ElementPlace{before + 1, after + 1} : place;
}

template <class Tag>
std::vector<std::string> recordsOf(TagDocument<Tag> const& document) {
    std::vector<std::string> records;
    for (Tag const* const tag : *document.tags) {
        records.push_back(tag->toXML());
    }
    return records;
}

/** The index of the first record that looks so; the end if there is none. */
std::size_t indexOf(std::vector<std::string> const& records, std::string const& record) {
    return static_cast<std::size_t>(std::find(records.begin(), records.end(), record)
                                    - records.begin());
}

/** A file's text without one record: every other byte stays as it is. */
template <class Tag>
std::string without(std::string const& text, std::string const& record,
                    TagDocument<Tag> (*read)(std::string const& text)) {
    TagDocument<Tag> const document = read(text);
    std::vector<std::string> records = recordsOf(document);
    std::size_t const index = indexOf(records, record);
    if (document.fault || index >= document.places.size()) {
        return text;
    }
    ElementPlace const place = withLine(document.places[index], text);
    std::string rest = text.substr(0, place.begin) + text.substr(place.end);
    records.erase(records.begin() + static_cast<std::ptrdiff_t>(index));
    TagDocument<Tag> const check = read(rest);
    if (check.fault || recordsOf(check) != records) {
        throw Failure("the file is written in a way that this command cannot change");
    }
    return rest;
}

/** Takes records out of a file until they stay out. */
template <class Tag>
void removeRecords(std::string const& path, std::vector<std::string> const& removed,
                   TagDocument<Tag> (*read)(std::string const& text), Quiet const& quiet) {
    HeldFile file(path, [&quiet] { quiet(); });
    auto const rest = [&](std::string text) {
        for (std::string const& record : removed) {
            text = without(text, record, read);
        }
        return text;
    };
    for (int attempt = 0; attempt < MOST_ATTEMPTS; ++attempt) {
        file.change(rest);
        std::string const text = settled([&file] { return file.read(); }, {path}, quiet);
        if (rest(text) == text) {
            return;
        }
    }
    throw Failure("the service wrote " + path + " anew each of " + std::to_string(MOST_ATTEMPTS)
                  + " times; try again when it is less busy");
}

template <class Tag>
std::vector<std::string> recordTexts(std::vector<WaitingSong> const& songs) {
    std::vector<std::string> records;
    records.reserve(songs.size());
    for (WaitingSong const& song : songs) {
        records.push_back(static_cast<Tag const*>(song.song)->toXML());
    }
    return records;
}

void report(std::vector<WaitingSong> const& songs, bool json, Console& console) {
    Json::Value document;
    for (WaitingSong const& song : songs) {
        document["removed"].append(toJson(song));
        if (!json) {
            console.out << "removed " << song.number << ": " << printable(song.song->Name())
                        << (song.song->Artist().empty() ? ""
                                                        : ", " + printable(song.song->Artist()))
                        << "\n";
        }
    }
    if (json) {
        printJson(console, document);
    }
}

void remove(RemoveOptions const& options, Console& console) {
    if (options.which.empty() == options.name.empty()) {
        throw UsageError("remove needs the number or the name of one waiting tag");
    }
    ServiceFiles kept(options.configuration);
    Quiet const quiet(options.timeout);
    kept.readWaiting(settled([&kept] { return kept.waitingText(); },
                             {kept.tagPath(), kept.candidatePath()}, quiet));
    std::vector<WaitingSong> const songs = chosen(kept, options);
    if (songs.front().candidate == nullptr) {
        removeRecords(kept.tagPath(), recordTexts<CTag>(songs), readTagDocument, quiet);
    } else {
        removeRecords(kept.candidatePath(), recordTexts<CAmbigTag>(songs), readAmbigTagDocument,
                      quiet);
    }
    report(songs, options.json, console);
}

} // namespace

void addRemove(CLI::App& command, Console& console) {
    auto const options = std::make_shared<RemoveOptions>();
    command.add_option("which", options->which, "its number in songlatchctl list, or its name")
        ->type_name("NUMBER|NAME");
    addText(command, "--name", "its name, where that looks like a number", options->name);
    addConfig(command, options->configuration);
    addTimeout(command, options->timeout);
    addJson(command, options->json);
    command.callback([options, &console] { remove(*options, console); });
}
