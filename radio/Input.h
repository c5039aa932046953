#pragma once

#include "radio/Descriptor.h"
#include "radio/Source.h"

#include <functional>
#include <string>
#include <string_view>

/**
 * The bytes of the receiver: from a file, a FIFO or standard input.
 *
 * A named FIFO has no end: when its writer goes, the next one is waited for.
 */
class Input final : public Source {
public:
    struct Handlers {
        std::function<void(std::string_view)> bytes;
        std::function<void()> writerGone; ///< another one may come
        std::function<void()> end;        ///< nothing will come any more
    };

    /** What stands for standard input. */
    static constexpr char STANDARD_INPUT[] = "-";

    /** @throws std::runtime_error that says which file cannot be read, and why */
    Input(std::string path, Handlers handlers);

    /** Whether it is a file, and so the record of a reception rather than a reception. */
    bool isRecord() const { return mIsRecord; }
    bool isTerminal() const;
    /** For messages. */
    std::string name() const;

    int descriptor() const override;
    void ready() override;

private:
    bool isStandardInput() const { return mPath == STANDARD_INPUT; }
    int source() const;
    void open();
    void endOfFile();

    std::string mPath;
    Handlers mHandlers;
    Descriptor mFile; ///< none for standard input
    bool mIsFifo = false;
    bool mIsRecord = false;
    bool mEnded = false;
};
