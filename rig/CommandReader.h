#pragma once

#include <optional>
#include <string>

/**
 * Lines from a descriptor, until it ends or SIGINT or SIGTERM arrives.
 *
 * The two signals are blocked from construction on, for this thread and all that it starts.
 */
class CommandReader {
public:
    /** @param input where the lines come from; not closed here */
    explicit CommandReader(int input);
    ~CommandReader();
    CommandReader(CommandReader const&) = delete;
    CommandReader& operator=(CommandReader const&) = delete;

    /** Waits for the next line, without its line feed; none once the input or the rig ends. */
    std::optional<std::string> next();

    /** Waits for SIGINT or SIGTERM, unless it has come already. */
    void waitForSignal();

private:
    bool fill();
    std::optional<std::string> takeLine(std::size_t end, std::size_t next);

    int mInput;
    int mSignals;
    std::string mPending;
    std::size_t mTaken = 0; ///< how much of it has been given out
    bool mEnded = false;
    bool mStopped = false;
};
