#pragma once

#include "radio/InputReader.h"

#include <json/value.h>
#include <string>

/** Reads JSON lines, one event a line; docs/radio.md has their members. */
class JsonReader final : public InputReader {
public:
    using InputReader::InputReader;

    /** Whether a line is meant to be one for this reader. */
    static bool isObject(std::string_view message) { return message.substr(0, 1) == "{"; }

    bool readLine(std::string_view line) override;

private:
    void readObject(Json::Value const& object, std::string const& time);
};
