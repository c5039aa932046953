#pragma once

#include "FuzzTarget.h"
#include "radio/Programme.h"

#include <json/value.h>

#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/** Keeps all that a reader says, and looks whether it could go on to a message or a file. */
class Listener : public Programme {
public:
    void takeRecord(Record const& record, std::optional<Record> const& other,
                    std::string const& time) override {
        add(record, time);
        if (other) {
            add(*other, "other");
        }
    }

    void takeStation(Station const& news, std::string const&) override {
        for (std::string const* text :
             {&news.name, &news.slogan, &news.country, &news.facilityId}) {
            add(*text);
        }
        for (auto const& [number, program] : news.programs) {
            require(number >= 0 && number <= 10, "a program's number is small");
            add(program.name);
            add(program.type);
        }
    }

    void loseSynchronization(std::string const&) override { said.emplace_back("lost"); }

    std::vector<std::string> said;

private:
    void add(Record const& record, std::string const& time) {
        said.push_back("event " + time);
        for (std::string const* text : {&record.title, &record.artist, &record.album, &record.genre,
                                        &record.fileOwner, &record.fileId}) {
            add(*text);
        }
        for (Json::Value const& value : record.tag) {
            require(value.isString() || value.isInt(), "a tag holds what the service takes");
            add(value.asString());
        }
    }

    void add(std::string const& text) {
        for (char const letter : text) {
            require(std::iscntrl(static_cast<unsigned char>(letter)) == 0,
                    "no control character goes on");
        }
        require(text.empty() || (text.front() != ' ' && text.back() != ' '), "no blank is around");
        require(text.size() <= 4096, "a text has a limit");
        said.push_back(text);
    }
};

/** What a reader says of the bytes when they come in pieces of this size. */
template <class SomeReader>
std::vector<std::string> saidOf(std::string_view bytes, std::size_t piece) {
    Listener listener;
    SomeReader reader(listener);
    for (; bytes.size() > piece; bytes.remove_prefix(piece)) {
        reader.feed(bytes.substr(0, piece));
    }
    reader.feed(bytes);
    reader.finish();
    return listener.said;
}

/** Feeds the bytes at once and in small pieces: a reader says the same. */
template <class SomeReader>
void readInPieces(std::uint8_t const* data, std::size_t size) {
    std::string const bytes(data, data + size);
    std::vector<std::string> const whole = saidOf<SomeReader>(bytes, size + 1);
    require(saidOf<SomeReader>(bytes, 1) == whole, "single bytes say what the whole says");
    require(saidOf<SomeReader>(bytes, 7) == whole, "pieces say what the whole says");
}
