#include "files/ParseFSM.h"

#include "SaxAttributes.h"
#include "Speaker.h"
#include "service/stdTools.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string>

namespace {

constexpr std::ptrdiff_t POINTERS_PER_NAMESPACE = 2;

char const* text(unsigned char const* bytes) {
    return reinterpret_cast<char const*>(bytes);
}

char const* printable(unsigned char const* bytes) {
    return bytes == nullptr ? "(null)" : text(bytes);
}

void printNamespaces(int count, unsigned char const** namespaces) {
    auto* const end = namespaces + count * POINTERS_PER_NAMESPACE;
    for (auto* pair = namespaces; pair != end; pair += POINTERS_PER_NAMESPACE) {
        std::printf("  namespace: name='%s' uri=(%p)'%s'\n", printable(pair[0]),
                    static_cast<void const*>(pair[1]), printable(pair[1]));
    }
}

/** Runs one stage of a callback; a failure costs this stage alone, and a line. */
template <class Stage>
void attempt(Speaker const& speaker, char const* complaint, Stage stage) {
    try {
        stage();
    } catch (...) {
        speaker.say(complaint);
    }
}

} // namespace

void ParseFSM::startElementNs(void* /*ctx*/, unsigned char const* localname,
                              unsigned char const* /*prefix*/, unsigned char const* /*URI*/,
                              int nb_namespaces, unsigned char const** namespaces,
                              int nb_attributes, int /*nb_defaulted*/,
                              unsigned char const** attributes) {
    stdTools const log;
    Speaker const speaker(log, "ParseFSM_startElementNS");
    attempt(speaker, "Error in prepping", [&] {
        speaker.say("in startElementNs");
        speaker.say(std::string("Name = ").append(std::string(text(localname))));
    });
    attempt(speaker, "Error pulling name spaces", [&] {
        speaker.say("Attempting to pull name spaces");
        printNamespaces(nb_namespaces, namespaces);
    });
    attempt(speaker, "Error pulling attributes", [&] {
        speaker.say("Attempting to pull attributes");
        for (SaxAttribute const attribute : SaxAttributes(attributes, nb_attributes)) {
            // The value comes first, so that one that can't be copied costs both lines.
            // Test: ParseFSMTest.AValueThatCannotBeCopiedCostsBothOfItsLines.
            std::string const value = attribute.value();
            speaker.say("localname: " + std::string(attribute.name));
            speaker.say("Value: " + value);
        }
    });
}

void ParseFSM::endElementNs(void* /*ctx*/, unsigned char const* localname,
                            unsigned char const* /*prefix*/, unsigned char const* /*URI*/) {
    stdTools const log;
    Speaker const speaker(log, "ParseFSM_endElementNS");
    speaker.say("in endElementNs");
    attempt(speaker, "Error in prepping",
            [&] { speaker.say("Name = " + std::string(text(localname))); });
    speaker.say("exiting endElementNs");
}

void ParseFSM::error(void* /*ctx*/, char const* msg, ...) {
    stdTools const log;
    log.Output("ParseFSM_error", "in error", stdTools::Message);
    std::va_list arguments;
    va_start(arguments, msg);
    std::vprintf(msg, arguments);
    va_end(arguments);
}

void ParseFSM::warning(void* /*ctx*/, char const* msg, ...) {
    stdTools const log;
    log.Output("ParseFSM_warning", "in warning", stdTools::Message);
    std::va_list arguments;
    va_start(arguments, msg);
    std::vprintf(msg, arguments);
    va_end(arguments);
}
