#include "rig/page/Board.h"

void Board::set(std::string const& name, Json::Value const& value) {
    MutexLock const lock(mMutex);
    auto const [place, isNew] = mValues.try_emplace(name);
    if (isNew || place->second.content != value) {
        place->second = {++mLast, value};
        mNews.notify_all();
    }
}

void Board::append(std::string const& stream, Json::Value entry) {
    MutexLock const lock(mMutex);
    Stream& written = mStreams[stream];
    entry["n"] = Json::UInt64(++written.count);
    written.entries.emplace_back(++mLast, std::move(entry));
    if (written.entries.size() > STREAM_LENGTH) {
        written.entries.pop_front();
    }
    mNews.notify_all();
}

Json::Value Board::value(std::string const& name) const {
    MutexLock const lock(mMutex);
    auto const found = mValues.find(name);
    return found == mValues.end() ? Json::Value() : found->second.content;
}

Json::Value Board::since(Cursor& cursor) const {
    MutexLock const lock(mMutex);
    Json::Value news = Json::objectValue;
    for (auto const& [name, value] : mValues) {
        if (value.changed > cursor) {
            news["values"][name] = value.content;
        }
    }
    for (auto const& [name, stream] : mStreams) {
        for (auto const& [number, entry] : stream.entries) {
            if (number > cursor) {
                news["streams"][name].append(entry);
            }
        }
    }
    cursor = mLast;
    return news;
}

bool Board::waitForNews(Cursor cursor, std::chrono::milliseconds time) const {
    auto const deadline = std::chrono::steady_clock::now() + time;
    MutexLock lock(mMutex);
    while (!mClosed && mLast <= cursor && lock.wait(mNews, deadline)) {
    }
    return mClosed || mLast > cursor;
}

void Board::close() {
    MutexLock const lock(mMutex);
    mClosed = true;
    mNews.notify_all();
}

bool Board::closed() const {
    MutexLock const lock(mMutex);
    return mClosed;
}
