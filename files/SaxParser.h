#pragma once

#include "files/ParseFSM.h"

#include <cstdarg>
#include <exception>
#include <libxml/parser.h>
#include <string>

/** What the callbacks of one parse share: the user's data and the first thing that was thrown. */
struct SaxRun {
    void* userData;
    std::exception_ptr failure;
};

/** Runs one callback unless an earlier one has failed, and keeps what it throws. */
template <class Action>
void fence(void* context, Action action) {
    auto& run = *static_cast<SaxRun*>(context);
    if (run.failure) {
        return;
    }
    try {
        action(run.userData);
    } catch (...) {
        run.failure = std::current_exception();
    }
}

template <auto Callback, class... Arguments>
void fenced(void* context, Arguments... arguments) {
    fence(context, [&](void* userData) { Callback(userData, arguments...); });
}

std::string formatted(char const* format, std::va_list arguments);

template <auto Report>
void fencedReport(void* context, char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    fence(context,
          [&](void* userData) { Report(userData, "%s", formatted(format, arguments).c_str()); });
    va_end(arguments);
}

/** Enters a class of callbacks into a zeroed table. */
template <class Handler>
void fillHandler(xmlSAXHandler& handler) {
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = fenced<&Handler::startElementNs>;
    handler.endElementNs = fenced<&Handler::endElementNs>;
    handler.warning = fencedReport<&ParseFSM::warning>;
    handler.error = fencedReport<&ParseFSM::error>;
}

template <class Handler>
xmlSAXHandler handlerFor() {
    xmlSAXHandler handler{};
    fillHandler<Handler>(handler);
    return handler;
}

/** Initialises libxml2 and asks for the oldest version that will do. */
void checkLibXml();

/**
 * Parses a file or a text with fenced callbacks.
 * @return 0 for a well-formed document
 * @throws what the first failing callback threw, once the parser has returned
 */
int parseFile(xmlSAXHandler& handler, void* userData, std::string const& path);
int parseMemory(xmlSAXHandler& handler, void* userData, std::string const& text);
