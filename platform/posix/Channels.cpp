// Channels and pulses.
//
// A channel is a bounded queue with a lock, and a semaphore that wakes its receivers: a sender only
// queues and never waits for a receiver, and a receiver without work sleeps in the semaphore. A
// condition variable would do the same with one system call more for each pulse, since its receiver
// wakes with the lock marked as contended. Each pulse posts the semaphore, and so does wakeAhead(),
// once between two waits; so whoever is woken looks, and may find nothing. The queue is a heap,
// ordered by priority and then by a running number, so that pulses of one priority leave in the
// order in which they came.
//
// Channels and connections are never destroyed, as their users expect. The table of them is not
// destroyed either: exit() runs on one thread while others may still be sending.
#include "platform/Mutex.h"
#include "platform/WakeAhead.h"
#include "platform/neutrino.h"
#include "platform/posix/ChannelLimits.h"
#include "platform/posix/Processors.h"
#include "platform/posix/SystemCall.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>
#include <queue>
#include <sched.h>
#include <semaphore.h>
#include <unistd.h>
#include <vector>

namespace {

struct QueuedPulse {
    int priority;
    std::uint64_t number;
    _pulse pulse;

    bool operator<(QueuedPulse const& other) const {
        return priority != other.priority ? priority < other.priority : number > other.number;
    }
};

bool severalProcessors() {
    static bool const several = usableProcessors() > 1;
    return several;
}

class Channel {
public:
    Channel() { sem_init(&mArrived, 0, 0); }
    ~Channel() { sem_destroy(&mArrived); }
    Channel(Channel const&) = delete;
    Channel& operator=(Channel const&) = delete;

    bool send(int priority, _pulse const& pulse) {
        {
            MutexLock const lock(mMutex);
            if (mQueue.size() == MAX_QUEUED_PULSES) {
                return false;
            }
            mQueue.push({priority, mNumber++, pulse});
        }
        sem_post(&mArrived);
        return true;
    }

    _pulse receive() {
        for (;;) {
            mAsleep = true;
            sem_wait(&mArrived); // or a signal ends it, which is as good as a wake-up
            mAsleep = false;
            if (auto const pulse = take()) {
                return *pulse;
            }
        }
    }

    void wakeAhead() {
        if (mAsleep.exchange(false)) {
            sem_post(&mArrived);
        }
    }

private:
    std::optional<_pulse> take() {
        MutexLock const lock(mMutex);
        if (mQueue.empty()) {
            return std::nullopt;
        }
        _pulse const pulse = mQueue.top().pulse;
        mQueue.pop();
        return pulse;
    }

    Mutex mMutex;
    sem_t mArrived{};
    std::priority_queue<QueuedPulse> mQueue GUARDED_BY(mMutex);
    std::uint64_t mNumber GUARDED_BY(mMutex) = 0;
    std::atomic<bool> mAsleep{false};
};

/** Entries are only ever added, so that looking one up takes no lock. */
class ChannelTable {
public:
    static ChannelTable& get() {
        static ChannelTable& table = *new ChannelTable;
        return table;
    }

    int create() {
        MutexLock const lock(mMutex);
        if (mCreated == MAX_CHANNELS) {
            return failWith(EAGAIN);
        }
        mChannels[mCreated] = new Channel;
        return static_cast<int>(mCreated++);
    }

    int attach(int chid, unsigned int lowest) {
        Channel* const target = channel(chid);
        MutexLock const lock(mMutex);
        if (target == nullptr) {
            return failWith(ESRCH);
        }
        if (lowest >= MAX_CONNECTIONS) {
            return failWith(EINVAL);
        }
        for (std::size_t index = lowest; index < MAX_CONNECTIONS; ++index) {
            if (mConnections[index] == nullptr) {
                mConnections[index] = target;
                return static_cast<int>(_NTO_SIDE_CHANNEL + index);
            }
        }
        return failWith(EAGAIN);
    }

    Channel* channel(int chid) const {
        auto const index = static_cast<std::size_t>(chid);
        return index < MAX_CHANNELS ? mChannels[index].load() : nullptr;
    }

    Channel* connection(int coid) const {
        std::size_t const index = static_cast<unsigned int>(coid) - _NTO_SIDE_CHANNEL;
        return index < MAX_CONNECTIONS ? mConnections[index].load() : nullptr;
    }

private:
    Mutex mMutex;
    std::size_t mCreated GUARDED_BY(mMutex) = 0;
    std::array<std::atomic<Channel*>, MAX_CHANNELS> mChannels{};
    std::array<std::atomic<Channel*>, MAX_CONNECTIONS> mConnections{};
};

int lowestPriority() {
    static int const priority = sched_get_priority_min(SCHED_RR);
    return priority;
}

bool isPriority(int priority) {
    static int const highest = sched_get_priority_max(SCHED_RR);
    return priority >= lowestPriority() && priority <= highest;
}

bool isPulseCode(int code) {
    using Limits = std::numeric_limits<std::int8_t>;
    return code >= Limits::min() && code <= Limits::max();
}

_pulse makePulse(int coid, int code, std::intptr_t value) {
    _pulse pulse{};
    pulse.type = _PULSE_TYPE;
    pulse.subtype = _PULSE_SUBTYPE;
    pulse.code = static_cast<std::int8_t>(code);
    pulse.scoid = coid;
    static_assert(sizeof pulse.value == sizeof value, "a pulse carries a pointer");
    std::memcpy(&pulse.value, &value, sizeof value);
    return pulse;
}

} // namespace

int ChannelCreate(unsigned int flags) {
    if ((flags & ~_NTO_CHF_FIXED_PRIORITY) != 0) {
        return failWith(EINVAL);
    }
    return ChannelTable::get().create();
}

int ConnectAttach(std::uint32_t nd, pid_t pid, int chid, unsigned int index, int /*flags*/) {
    if (nd != 0 || (pid != 0 && pid != getpid())) {
        return failWith(ESRCH);
    }
    // An id above the lowest one wanted is as good, so a caller who names a descriptor's range gets
    // an id that no descriptor can have.
    unsigned int const lowest = index < _NTO_SIDE_CHANNEL ? 0 : index - _NTO_SIDE_CHANNEL;
    return ChannelTable::get().attach(chid, lowest);
}

int MsgSendPulse(int coid, int priority, int code, std::intptr_t value) {
    Channel* const channel = ChannelTable::get().connection(coid);
    if (channel == nullptr) {
        return failWith(EBADF);
    }
    int const given = priority == -1 ? lowestPriority() : priority;
    if (!isPriority(given) || !isPulseCode(code)) {
        return failWith(EINVAL);
    }
    return channel->send(given, makePulse(coid, code, value)) ? 0 : failWith(EAGAIN);
}

int MsgReceivePulse(int chid, void* pulse, std::size_t size, struct _msg_info* /*info*/) {
    Channel* const channel = ChannelTable::get().channel(chid);
    if (channel == nullptr) {
        return failWith(ESRCH);
    }
    if (pulse == nullptr) {
        return failWith(EFAULT);
    }
    if (size < sizeof(_pulse)) {
        return failWith(EINVAL);
    }
    _pulse const next = channel->receive();
    std::memcpy(pulse, &next, sizeof next);
    return 0;
}

void wakeAhead(int coid) {
    Channel* const channel = ChannelTable::get().connection(coid);
    if (channel != nullptr && severalProcessors()) {
        channel->wakeAhead();
    }
}
