#pragma once

/** Something that a loop waits for: a descriptor that becomes readable. */
class Source {
public:
    /** What to wait for now; -1 for nothing any more. It may change only in ready(). */
    virtual int descriptor() const = 0;
    /** The descriptor is readable. Runs on the loop's thread, which it must not hold up. */
    virtual void ready() = 0;

protected:
    ~Source() = default;
};
