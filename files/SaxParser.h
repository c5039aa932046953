#pragma once

#include "files/ParseFSM.h"

#include <cstdarg>
#include <exception>
#include <libxml/parser.h>
#include <string>

/**
 * The parse that is under way: its parser, the user's data and the first thing that a callback
 * threw. There is never more than one: loads run on the main thread and do not overlap.
 */
class SaxRun {
public:
    explicit SaxRun(void* userData);
    ~SaxRun();
    SaxRun(SaxRun const&) = delete;
    SaxRun& operator=(SaxRun const&) = delete;

    static SaxRun& current();

    /** Takes note of the parser, before its first callback. */
    void take(xmlParserCtxt* parser);

    /** The parser, to ask how far it is; null before it runs. */
    xmlParserCtxt* parser() const { return mParser; }

    /** Runs a callback unless an earlier one has failed, and keeps what it throws. */
    template <class Action>
    void fence(Action action) {
        if (mFailure) {
            return;
        }
        try {
            action(mUserData);
        } catch (...) {
            mFailure = std::current_exception();
        }
    }

    void stopAfterFailure();

    /** Raises what a callback threw. To be called once the parser has returned. */
    void raiseFailure() const;

private:
    void* mUserData;
    xmlParserCtxt* mParser = nullptr;
    std::exception_ptr mFailure;
};

template <auto Callback, class... Arguments>
void fenced(void* /*context*/, Arguments... arguments) {
    SaxRun& run = SaxRun::current();
    run.fence([&](void* userData) { Callback(userData, arguments...); });
    run.stopAfterFailure();
}

std::string formatted(char const* format, std::va_list arguments);

/**
 * Leaves it to the next other callback to stop the parser, which may hold on to the input here that
 * a stop frees. Test: XmlTools.AFailureInAReportLeavesTheParserItsInput.
 */
template <auto Report>
void fencedReport(void* /*context*/, char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    SaxRun::current().fence(
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
 * Parses a file or a text with fenced callbacks, up to the first that fails.
 * @return 0 for a well-formed document
 * @throws what that callback threw, once the parser has returned
 */
int parseFile(xmlSAXHandler& handler, void* userData, std::string const& path);
int parseMemory(xmlSAXHandler& handler, void* userData, std::string const& text);
