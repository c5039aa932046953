#pragma once

/**
 * Tells whether an object that was made with new has been deleted, in every kind of build.
 *
 *     FreeWatch const watch(cookie);
 *     listener.prepareAndForwardTellbusResult(&status, "", cookie);
 *     EXPECT_TRUE(watch.freed());
 */
class FreeWatch {
public:
    explicit FreeWatch(void const* object);
    ~FreeWatch();
    FreeWatch(FreeWatch const&) = delete;
    FreeWatch& operator=(FreeWatch const&) = delete;

    bool freed() const;

private:
    void const* mObject;
    unsigned int mSlot;
};
