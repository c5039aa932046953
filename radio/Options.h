#pragma once

#include "radio/InputReader.h"
#include "radio/Programme.h"

#include <memory>
#include <optional>
#include <string>

enum class Format { Any, Log, Json, Hex };

/** What the command line asks for. */
struct Options {
    std::string input = "-";
    Format format = Format::Any;
    std::string frequency;
    std::optional<int> program; ///< from 0
    double overlap = 5;         ///< seconds
    std::string pattern;        ///< empty for none
    std::string control;        ///< the FIFO, empty for none
    bool print = false;
};

/** What is to be done instead of running: a text to print and the exit status. */
struct EarlyEnd {
    int status;
    std::string output; ///< for standard output
    std::string error;  ///< for standard error
};

/** Reads the command line. @return the early end if it asks for help or is wrong */
std::optional<EarlyEnd> readOptions(int argc, char const* const* argv, Options& options);

/** The reader of a format. */
std::unique_ptr<InputReader> makeReader(Format format, Programme& programme);
