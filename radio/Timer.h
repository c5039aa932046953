#pragma once

#include "radio/Descriptor.h"
#include "radio/Source.h"

#include <chrono>
#include <functional>

/** Calls a function once, some time after it was started. */
class Timer final : public Source {
public:
    explicit Timer(std::function<void()> onExpiry);

    /** From now on; a start before it is forgotten. The delay is not 0. */
    void start(std::chrono::milliseconds delay);
    void stop();

    int descriptor() const override { return mDescriptor.get(); }
    void ready() override;

private:
    void set(std::chrono::nanoseconds delay);

    std::function<void()> mOnExpiry;
    Descriptor mDescriptor;
};
