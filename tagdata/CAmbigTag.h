#pragma once

#include "tagdata/CTag.h"

#include <string>

/** One candidate of an ambiguous tag: the radio could not say which of two songs was meant. */
class CAmbigTag : public CTag {
public:
    /** Set ButtonPressed before reading it. */
    CAmbigTag() : CAmbigTag(false) {}
    /** An empty candidate. The flag is kept and has no effect. */
    explicit CAmbigTag(bool flag);
    /** A copy of another candidate that does not count as new: NewTagFlag is false. */
    CAmbigTag(CAmbigTag* other, bool flag);
    ~CAmbigTag() override;

    /** Number of the button by which this candidate was chosen. */
    int ButtonPressed() const { return mButtonPressed; }
    void ButtonPressed(int value);

    /** The candidate's line of the local file of ambiguous tags, with its line feed. */
    std::string toXML() const;

    /** The candidate's dictionary in a property list. */
    std::string toAppleXML() const;

private:
    int mButtonPressed = 0;
    stdTools mTools;
    [[maybe_unused]] bool mFlag;
};
