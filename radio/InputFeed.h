#pragma once

#include "radio/Input.h"
#include "radio/InputReader.h"
#include "radio/Loop.h"
#include "radio/Timer.h"

#include <functional>
#include <memory>
#include <string>

/**
 * Carries what comes from the input to a reader, and has it hand out what it holds back when
 * nothing comes for a while.
 */
class InputFeed {
public:
    struct Handlers {
        std::function<void()> end;   ///< the reader has had all of it
        std::function<void()> press; ///< an empty line, where the input is a terminal
    };

    /** @throws std::runtime_error if the input cannot be read */
    InputFeed(std::string const& path, std::unique_ptr<InputReader> reader, Handlers handlers);

    void join(Loop& loop);

    Input const& input() const { return mInput; }

    /** Somebody asks what is playing: an event that has just come counts already. */
    void settleSong() { mReader->settleSong(); }
    /** Nothing will be read any more. */
    void finish();

private:
    void take(std::string_view bytes);
    void complain();

    std::unique_ptr<InputReader> mReader;
    Handlers mHandlers;
    Input mInput;
    Timer mQuiet;
    LineSplitter mTerminalLines;
    bool mComplained = false;
};
