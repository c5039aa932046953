#include "service/stdTools.h"

#include "tagdata/CTagException.h"

#include <cstdint>
#include <fcntl.h>
#include <iostream>
#include <sstream>
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

template <class Number>
Number extract(std::string const& text, char const* kind) {
    Number value{};
    std::istringstream stream(text);
    stream >> value;
    if (stream.fail()) {
        throwTagException(CTagException::ExConversion, "Error casting \"" + text + "\" to " + kind);
    }
    return value;
}

template <class Number>
std::string print(Number value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
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
        appendToLogFile(toFile ? prefixOf(severity) + source + ": " + message + "\n" : "");
    }
    if (toScreen) {
        std::cout << prefixOf(severity) + (PRODUCT_PREFIX + source) + ": " + message + "\n"
                  << std::flush;
    }
}

bool stdTools::parseBool(std::string const& text) {
    return text == "true";
}

int stdTools::parseInt(std::string const& text) {
    return extract<int>(text, "integer");
}

unsigned long stdTools::parseULong(std::string const& text) {
    // Not unsigned long: the values go to 32-bit fields, and a 64-bit build must refuse the same
    // texts as a 32-bit one. Test: StdTools.ParseULongHasThe32BitRangeOnEveryMachine.
    return extract<std::uint32_t>(text, "unsigned long");
}

float stdTools::parseFloat(std::string const& text) {
    return extract<float>(text, "float");
}

std::string stdTools::toString(bool value) {
    return value ? "true" : "false";
}
std::string stdTools::toString(int value) {
    return print(value);
}
std::string stdTools::toString(unsigned int value) {
    return print(value);
}
std::string stdTools::toString(unsigned long value) {
    return print(value);
}
std::string stdTools::toString(double value) {
    return print(value);
}
std::string stdTools::toString(char const* text) {
    return text;
}
