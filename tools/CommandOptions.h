#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI
struct Console;

/** How long a call waits unless --timeout says otherwise. */
constexpr int DEFAULT_TIMEOUT_SECONDS = 10;

/** "--json": one document for programs in place of text for people. */
void addJson(CLI::App& command, bool& json);

/** "--timeout SECONDS" */
void addTimeout(CLI::App& command, int& seconds);

/** "--device ID": the media service's number of an iPod. */
void addDevice(CLI::App& command, std::optional<int>& device);

/** "--config FILE": the configuration that names the folder of the tags. */
void addConfig(CLI::App& command, std::string& path);

/** An option whose value is text for the service, and so has to be UTF-8. */
CLI::Option* addText(CLI::App& command, std::string const& option, std::string const& meaning,
                     std::string& value);

/** The same where the option may come again, each time with one value. */
void addTexts(CLI::App& command, std::string const& option, std::string const& meaning,
              std::vector<std::string>& values);

/** Likewise with whole numbers of a range; any other value is refused with a line. */
void addNumbers(CLI::App& command, std::string const& option, std::string const& meaning,
                Json::Int64 lowest, Json::Int64 highest, std::vector<std::string>& values);

/** Lets an option take nothing but these values. */
void limitTo(CLI::Option& option, std::vector<std::string> const& values);

/** The values that limitTo() has let through, none for an option without a limit. */
std::vector<std::string> valuesOf(CLI::Option& option);

/** The value of a number that addNumbers() let through. */
Json::Int64 numberOf(std::string const& text);

/** Writes one JSON document and a line feed. */
void printJson(Console& console, Json::Value const& document);
