#pragma once

#include "radio/Descriptor.h"
#include "radio/LineSplitter.h"
#include "radio/Source.h"

#include <functional>
#include <string>

/**
 * A FIFO on which every line "tag" is a press of the button. It is made if it is not there, and
 * then removed at the end.
 */
class ControlFifo final : public Source {
public:
    /** @throws std::runtime_error if there is no FIFO and none can be made */
    ControlFifo(std::string path, std::function<void()> press);
    ~ControlFifo();
    ControlFifo(ControlFifo const&) = delete;
    ControlFifo& operator=(ControlFifo const&) = delete;

    int descriptor() const override { return mFifo.get(); }
    void ready() override;

private:
    void takeLine(std::string_view line);

    std::string mPath;
    std::function<void()> mPress;
    bool mIsOurs;
    Descriptor mFifo;
    LineSplitter mLines;
};

/**
 * The terminal that the program was started from, on which Enter is a press of the button. Where
 * the program has none, it waits for nothing.
 */
class EnterKey final : public Source {
public:
    explicit EnterKey(std::function<void()> press);

    int descriptor() const override { return mTerminal.get(); }
    void ready() override;

private:
    std::function<void()> mPress;
    Descriptor mTerminal;
};

/**
 * The signals: SIGUSR1 is a press of the button, SIGINT and SIGTERM end the program. They are
 * blocked from construction on, for this thread and all that it starts.
 */
class Signals final : public Source {
public:
    Signals(std::function<void()> press, std::function<void()> end);

    int descriptor() const override { return mSignals.get(); }
    void ready() override;

private:
    std::function<void()> mPress;
    std::function<void()> mEnd;
    Descriptor mSignals;
};
