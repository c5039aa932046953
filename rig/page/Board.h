#pragma once

#include "platform/Mutex.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <json/json.h>
#include <map>
#include <string>
#include <utility>

/**
 * What the page shows: named values, of which the last counts, and named streams, of which the last
 * STREAM_LENGTH entries are kept.
 *
 * Sources write, each client reads what is new to it. Nothing waits for a client and nothing is
 * queued for one: who reads slowly misses entries, and sees by their numbers how many. Any thread.
 */
class Board {
public:
    static constexpr std::size_t STREAM_LENGTH = 300;

    /** How far a client has read. */
    using Cursor = std::uint64_t;

    /** Sets a value; one that stays the same is no news. */
    void set(std::string const& name, Json::Value const& value);

    /** Adds an entry to a stream. */
    void append(std::string const& stream, Json::Value entry);

    /** The value as it is now; null if it was never set. */
    Json::Value value(std::string const& name) const;

    /**
     * What is new since the cursor, which moves on: {"values":{..},"streams":{"name":[..]}}, an
     * empty object if nothing is. Entries of a stream are numbered in "n", so that a gap shows.
     */
    Json::Value since(Cursor& cursor) const;

    /** Waits for news, at most so long. @return whether there are any */
    bool waitForNews(Cursor cursor, std::chrono::milliseconds time) const;

    /** Lets nobody wait from now on. */
    void close();
    bool closed() const;

private:
    struct Value {
        Cursor changed = 0;
        Json::Value content;
    };
    struct Stream {
        std::deque<std::pair<Cursor, Json::Value>> entries;
        std::uint64_t count = 0;
    };

    mutable Mutex mMutex;
    mutable std::condition_variable mNews;
    Cursor mLast GUARDED_BY(mMutex) = 0;
    std::map<std::string, Value> mValues GUARDED_BY(mMutex);
    std::map<std::string, Stream> mStreams GUARDED_BY(mMutex);
    bool mClosed GUARDED_BY(mMutex) = false;
};
