#include "radio/BusLoop.h"

#include "bus/CTellbusEventRouter.h"
#include "radio/Source.h"

BusLoop::~BusLoop() {
    mWatch.wake();
    if (mThread.joinable()) {
        mThread.join();
    }
    for (auto const& entry : mEntries) {
        m_router->unregisterAsEventTarget(entry->registration, true);
    }
}

void BusLoop::add(Source& source) {
    mEntries.push_back(std::make_unique<Entry>(Entry{&source, nullptr}));
    Entry& entry = *mEntries.back();
    entry.registration = m_router->registerAsAccessoryEventTarget(this, &entry);
    watch(entry);
}

void BusLoop::watch(Entry& entry) {
    if (entry.source->descriptor() != -1) {
        mWatch.watch(entry.source->descriptor(), &entry);
    }
}

void BusLoop::run() {
    mThread = std::thread([this] { postReadySources(); });
    m_router->start();
}

void BusLoop::end() {
    m_router->stop();
}

void BusLoop::postReadySources() {
    while (auto const* const entry = static_cast<Entry*>(mWatch.wait())) {
        // One pulse for each source at most, so that the channel always has room.
        m_router->postAccessoryEvent(entry->registration);
    }
}

void BusLoop::processAccessoryEvent(void* context) {
    auto* const entry = static_cast<Entry*>(context);
    entry->source->ready();
    watch(*entry);
}
