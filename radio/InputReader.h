#pragma once

#include "radio/LineSplitter.h"
#include "radio/Programme.h"

#include <string_view>

/**
 * Reads one form of input: bytes in pieces of any size come in, events go to a Programme. No bytes
 * of any kind are a failure; what is not understood is skipped.
 */
class InputReader {
public:
    explicit InputReader(Programme& programme);
    virtual ~InputReader() = default;
    InputReader(InputReader const&) = delete;
    InputReader& operator=(InputReader const&) = delete;

    void feed(std::string_view bytes) { mLines.feed(bytes); }

    /** The writer is gone, perhaps in the middle of a line: another one begins a new line. */
    void endLine() { mLines.finish(); }

    /** The input is over: what has come of a line and of an event is all of it. */
    void finish();

    /**
     * Takes one line.
     * @return false if it looked like a line of this form and is damaged
     */
    virtual bool readLine(std::string_view line) = 0;

    /** Whether there is an event of which more lines may come. */
    virtual bool isWaiting() const { return false; }
    /** Nothing has come for a while: hands out the event of which more lines may come. */
    virtual void settle() {}
    /** Somebody asks: hands that event out if it already names a song. */
    virtual void settleSong() {}
    /** No more of that event will come. */
    virtual void endEvent() {}

    /** How many lines were damaged. */
    unsigned long damagedLines() const { return mDamaged; }

protected:
    Programme& programme() { return mProgramme; }

private:
    Programme& mProgramme;
    LineSplitter mLines;
    unsigned long mDamaged = 0;
};
