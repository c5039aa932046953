#pragma once

class Source;

/** Calls sources that are ready, one at a time, on the thread that runs it. */
class Loop {
public:
    virtual ~Loop() = default;

    /** Waits for this source, too. It must outlive the loop's run. */
    virtual void add(Source& source) = 0;
    /** Runs until ended. */
    virtual void run() = 0;
    /** Ends the run behind the source that is being called. */
    virtual void end() = 0;
};
