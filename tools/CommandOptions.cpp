#include "tools/CommandOptions.h"

#include "tools/Console.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>
#include <json/writer.h>

#include <charconv>
#include <ostream>

namespace {

constexpr int LONGEST_TIMEOUT_SECONDS = 86400;

std::optional<Json::Int64> wholeNumber(std::string const& text) {
    Json::Int64 number = 0;
    char const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, number);
    bool const isWhole = result.ec == std::errc() && result.ptr == end;
    return isWhole ? std::make_optional(number) : std::nullopt;
}

/** A check that complains unless a text is a number of the range. */
CLI::Validator wholeNumberOf(Json::Int64 lowest, Json::Int64 highest,
                             std::string const& reason = "") {
    CLI::Validator check;
    check.operation([lowest, highest, reason](std::string& text) {
        std::optional<Json::Int64> const number = wholeNumber(text);
        return number && *number >= lowest && *number <= highest
                   ? std::string()
                   : "\"" + text + "\" is no whole number from " + std::to_string(lowest) + " to "
                         + std::to_string(highest) + reason;
    });
    return check;
}

CLI::Validator utf8() {
    CLI::Validator check;
    check.operation([](std::string& text) {
        return isUtf8(text) ? std::string() : "\"" + text + "\" is not UTF-8 text";
    });
    return check;
}

} // namespace

void addJson(CLI::App& command, bool& json) {
    command.add_flag("--json", json, "print JSON for programs");
}

void addConfig(CLI::App& command, std::string& path) {
    command.add_option("--config", path, "the service's configuration (" + path + ")")
        ->type_name("FILE");
}

CLI::Option* addText(CLI::App& command, std::string const& option, std::string const& meaning,
                     std::string& value) {
    return command.add_option(option, value, meaning)->check(utf8())->type_name("TEXT");
}

void addTexts(CLI::App& command, std::string const& option, std::string const& meaning,
              std::vector<std::string>& values) {
    command.add_option(option, values, meaning)
        ->allow_extra_args(false)
        ->check(utf8())
        ->type_name("TEXT");
}

void addNumbers(CLI::App& command, std::string const& option, std::string const& meaning,
                Json::Int64 lowest, Json::Int64 highest, std::vector<std::string>& values) {
    command.add_option(option, values, meaning)
        ->allow_extra_args(false)
        ->check(wholeNumberOf(lowest, highest, ", and others the service does not read"))
        ->type_name("NUMBER");
}

void addTimeout(CLI::App& command, int& seconds) {
    command
        .add_option_function<std::string>(
            "--timeout", [&seconds](std::string const& text) { seconds = std::stoi(text); },
            "how long to wait for an answer (" + std::to_string(DEFAULT_TIMEOUT_SECONDS) + ")")
        ->check(wholeNumberOf(1, LONGEST_TIMEOUT_SECONDS))
        ->type_name("SECONDS");
}

void addDevice(CLI::App& command, std::optional<int>& device) {
    command
        .add_option_function<std::string>(
            "--device", [&device](std::string const& text) { device = std::stoi(text); },
            "the media service's number of an iPod")
        ->check(wholeNumberOf(Json::Value::minInt, Json::Value::maxInt))
        ->type_name("ID");
}

void limitTo(CLI::Option& option, std::vector<std::string> const& values) {
    // The name holds the values for valuesOf(); the help tells them in its own words.
    option.check(CLI::IsMember(values).description("").name(CLI::detail::join(values, "|")));
}

std::vector<std::string> valuesOf(CLI::Option& option) {
    try {
        std::string const name = option.get_validator(0)->get_name();
        return name.empty() ? std::vector<std::string>() : CLI::detail::split(name, '|');
    } catch (CLI::OptionNotFound const&) {
        return {};
    }
}

Json::Int64 numberOf(std::string const& text) {
    return wholeNumber(text).value_or(0);
}

void printJson(Console& console, Json::Value const& document) {
    console.out << Json::FastWriter().write(document);
}
