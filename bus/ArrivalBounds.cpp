#include "bus/ArrivalBounds.h"

#include <atomic>

namespace {

/** What a record takes beside its text. */
constexpr std::size_t OVERHEAD = 1024;

std::atomic<bool> isBounded{false};
std::atomic<bool> lost{false};
std::atomic<std::size_t> waiting{0};

} // namespace

void ArrivalBounds::set(bool bounded) {
    isBounded = bounded;
}

bool ArrivalBounds::isSet() {
    return isBounded;
}

ArrivalBounds::Place ArrivalBounds::take(std::size_t bytes) {
    std::size_t const size = bytes + OVERHEAD;
    std::size_t const before = waiting.fetch_add(size);
    if (before != 0 && before + size > ROOM) {
        waiting -= size;
        return nullptr;
    }
    // Owns nothing but the room: what it points to is only there to make it not null.
    return {&waiting, [size](void*) { waiting -= size; }};
}

void ArrivalBounds::noteLoss() {
    lost = true;
}

bool ArrivalBounds::takeLoss() {
    return lost.exchange(false);
}
