#pragma once

#include "radio/Programme.h"

#include <string>
#include <vector>

/** Writes down what a reader says, one text for each event: "TIME FIELD=VALUE FIELD=VALUE ...". */
class Heard : public Programme {
public:
    void takeRecord(Record const& record, std::optional<Record> const& other,
                    std::string const& time) override {
        lines.push_back(stamped(time) + textOf(record) + (other ? " |" + textOf(*other) : ""));
    }

    void takeStation(Station const& news, std::string const& time) override {
        std::string text = stamped(time) + "station";
        add(text, "name", news.name);
        add(text, "slogan", news.slogan);
        add(text, "country", news.country);
        add(text, "facility", news.facilityId);
        for (auto const& [number, program] : news.programs) {
            text += " " + std::to_string(number) + "=" + program.name + "/" + program.type;
        }
        if (text != stamped(time) + "station") {
            lines.push_back(text);
        }
    }

    void loseSynchronization(std::string const& time) override {
        lines.push_back(stamped(time) + "lost");
    }

    std::vector<std::string> lines;

private:
    static std::string stamped(std::string const& time) { return time.empty() ? "" : time + " "; }

    static void add(std::string& text, char const* name, std::string const& value) {
        if (!value.empty()) {
            text += std::string(" ") + name + "=" + value;
        }
    }

    static std::string textOf(Record const& record) {
        std::string text = "event";
        add(text, "title", record.title);
        add(text, "artist", record.artist);
        add(text, "album", record.album);
        add(text, "genre", record.genre);
        add(text, "owner", record.fileOwner);
        add(text, "id", record.fileId);
        for (auto member = record.tag.begin(); member != record.tag.end(); ++member) {
            text += " " + member.name() + "=" + member->asString() + (member->isInt() ? "#" : "");
        }
        return text;
    }
};

/** What a reader of that kind says of an input, given in pieces of this size. */
template <class SomeReader>
std::vector<std::string> heardIn(std::string const& input, std::size_t piece = std::string::npos) {
    Heard heard;
    SomeReader reader(heard);
    for (std::size_t at = 0; at < input.size(); at += std::min(piece, input.size())) {
        reader.feed(std::string_view(input).substr(at, piece));
    }
    reader.finish();
    return heard.lines;
}
