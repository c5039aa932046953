#include "service/stdTools.h"

#include "tagdata/CTagException.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fcntl.h>
#include <iostream>
#include <limits>
#include <optional>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char PRODUCT_PREFIX[] = "Songlatching: ";
constexpr mode_t LOG_FILE_MODE = 0666;

char const* prefixOf(int level) {
    switch (level) {
    case stdTools::Message:
        return "Message: ";
    case stdTools::Warning:
        return "Warning: ";
    case stdTools::Error:
        return "Error: ";
    default:
        return "";
    }
}

void appendToLogFile(std::string const& text) {
    int const fd = open(stdTools::LOGFILEPATH.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC,
                        LOG_FILE_MODE);
    if (fd == -1) {
        return;
    }
    [[maybe_unused]] ssize_t const written = write(fd, text.data(), text.size());
    close(fd);
}

[[noreturn]] void failConversion(std::string const& text, char const* kind) {
    throwTagException(CTagException::ExConversion, "Error casting \"" + text + "\" to " + kind);
}

/** A whole number of at most 32 bits: its sign and what stands behind it. */
struct WholeNumber {
    bool negative;
    std::uint32_t magnitude;
};

/** What an input stream reads as a decimal number; nothing where it fails. */
std::optional<WholeNumber> readWholeNumber(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    bool const isSigned = !text.empty() && (text.front() == '-' || text.front() == '+');
    WholeNumber number{isSigned && text.front() == '-', 0};
    text.remove_prefix(isSigned ? 1 : 0);
    auto const [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number.magnitude);
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

/** A line in one piece: a request writes dozens. */
std::string lineOf(int level, std::string_view product, std::string_view source,
                   std::string_view message) {
    std::string_view const prefix = prefixOf(level);
    constexpr std::size_t BETWEEN = sizeof ": \n" - 1;
    std::string line;
    line.reserve(prefix.size() + product.size() + source.size() + message.size() + BETWEEN);
    return line.append(prefix).append(product).append(source).append(": ").append(message).append(
        "\n");
}

} // namespace

stdTools tools;

stdTools::~stdTools() = default;

void stdTools::Output(std::string source, std::string message, ErrorLevel level) const {
    int const severity = level;
    bool const toScreen = severity >= Message && (DEBUG || severity == Error);
    bool const toFile = severity >= Message;
    if (FILELOGGING) {
        // Opened, and so made, for a level that writes nothing too.
        // Test: StdToolsOutput.MakesTheFileAtANegativeLevelAndWritesNothing.
        appendToLogFile(toFile ? lineOf(severity, "", source, message) : "");
    }
    if (toScreen) {
        std::cout << lineOf(severity, PRODUCT_PREFIX, source, message) << std::flush;
    }
}

bool stdTools::parseBool(std::string const& text) {
    return text == "true";
}

int stdTools::parseInt(std::string const& text) {
    std::optional<WholeNumber> const number = readWholeNumber(text);
    constexpr std::uint32_t LARGEST = std::numeric_limits<std::int32_t>::max();
    if (!number || number->magnitude > LARGEST + (number->negative ? 1 : 0)) {
        failConversion(text, "integer");
    }
    return static_cast<int>(number->negative ? 0 - number->magnitude : number->magnitude);
}

unsigned long stdTools::parseULong(std::string const& text) {
    // Not unsigned long: the values go to 32-bit fields, and a 64-bit build must refuse the same
    // texts as a 32-bit one. Test: StdTools.ParseULongHasThe32BitRangeOnEveryMachine.
    std::optional<WholeNumber> const number = readWholeNumber(text);
    if (!number) {
        failConversion(text, "unsigned long");
    }
    return number->negative ? 0 - number->magnitude : number->magnitude;
}

float stdTools::parseFloat(std::string const& text) {
    float value = 0;
    std::istringstream stream(text);
    if (!(stream >> value)) {
        failConversion(text, "float");
    }
    return value;
}

std::string stdTools::toString(bool value) {
    return value ? "true" : "false";
}
std::string stdTools::toString(int value) {
    return std::to_string(value);
}
std::string stdTools::toString(unsigned int value) {
    return std::to_string(value);
}
std::string stdTools::toString(unsigned long value) {
    return std::to_string(value);
}
std::string stdTools::toString(double value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}
std::string stdTools::toString(char const* text) {
    return text;
}
