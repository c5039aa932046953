#pragma once

#include "bus/CTellbusAccessoryEventTarget.h"
#include "bus/CTellbusRouterHold.h"
#include "radio/Loop.h"
#include "radio/Watch.h"

#include <thread>
#include <vector>

class CTellbusRouterCookie;

/**
 * The event loop of bus/, which then also calls the sources: one thread waits for them and posts
 * each that is ready as an accessory event; it touches nothing else, so there is no lock.
 */
class BusLoop final : public Loop, public CTellbusAccessoryEventTarget {
public:
    BusLoop() = default;
    ~BusLoop() override;

    void add(Source& source) override;
    void run() override;
    void end() override;

    void processAccessoryEvent(void* context) override;

private:
    /** A source with its registration; made before the thread sees it, and not changed then. */
    struct Entry {
        Source* source;
        CTellbusRouterCookie* registration;
    };

    void watch(Entry& entry);
    void postReadySources();

    CTellbusRouterHold m_router;
    Watch mWatch;
    std::vector<std::unique_ptr<Entry>> mEntries;
    std::thread mThread;
};
