#pragma once

#include "Speaker.h"
#include "tagdata/CTagException.h"

constexpr char INIT_FAILED[] = "Error Initializing LIBXML";
constexpr char SETUP_FAILED[] = "Error setting up saxHandler";
constexpr char PARSER_FAILED[] = "Error running Parser";
constexpr char PARSE_FAILED[] = "Failed to parse document.";

/** Does something whose failure, whatever it is, becomes a CTagException of that text. */
template <class Action>
void orFail(Speaker const& speaker, char const* complaint, Action action) {
    try {
        action();
    } catch (...) {
        dropException();
        speaker.fail(complaint);
    }
}

/** Asks for the library. @throws CTagException* with ExXmlFile */
void initialize(Speaker const& speaker);

/** Gives back what the library holds; after a successful parse only. */
void cleanUp(Speaker const& speaker);
