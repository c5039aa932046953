#pragma once

#include "radio/Loop.h"
#include "radio/Watch.h"

/** The loop of a program without a bus. */
class PlainLoop final : public Loop {
public:
    void add(Source& source) override;
    void run() override;
    void end() override { mEnded = true; }

private:
    Watch mWatch;
    bool mEnded = false;
};
