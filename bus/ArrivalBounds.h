#pragma once

#include <cstddef>
#include <memory>

/**
 * A bound for what waits between the bus library's thread and the main thread. Off unless somebody
 * sets it: then a call or a signal that finds the room used up is not queued. Any thread.
 */
class ArrivalBounds {
public:
    /** The bytes of text that may wait. A single text is never too long for an empty queue. */
    static constexpr std::size_t ROOM = std::size_t{16} << 20U;

    /** Room for one record, given back when the last copy of the record is gone. */
    using Place = std::shared_ptr<void>;

    static void set(bool bounded);
    static bool isSet();

    /** Takes room for a text. @return null if there is none */
    static Place take(std::size_t bytes);

    /** Notes that a signal was not queued. */
    static void noteLoss();
    /** Whether one was lost since the last time that somebody asked. */
    static bool takeLoss();
};
