#include "rig/page/Board.h"

void Board::set(std::string const& name, Json::Value const& value) {
    std::lock_guard<std::mutex> const lock(mMutex);
    auto const [place, isNew] = mValues.try_emplace(name);
    if (isNew || place->second.content != value) {
        place->second = {++mLast, value};
        mNews.notify_all();
    }
}

void Board::append(std::string const& stream, Json::Value entry) {
    std::lock_guard<std::mutex> const lock(mMutex);
    Stream& written = mStreams[stream];
    entry["n"] = Json::UInt64(++written.count);
    written.entries.emplace_back(++mLast, std::move(entry));
    if (written.entries.size() > STREAM_LENGTH) {
        written.entries.pop_front();
    }
    mNews.notify_all();
}

Json::Value Board::value(std::string const& name) const {
    std::lock_guard<std::mutex> const lock(mMutex);
    auto const found = mValues.find(name);
    return found == mValues.end() ? Json::Value() : found->second.content;
}

Json::Value Board::since(Cursor& cursor) const {
    std::lock_guard<std::mutex> const lock(mMutex);
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
    std::unique_lock<std::mutex> lock(mMutex);
    return mNews.wait_for(lock, time, [&] { return mClosed || mLast > cursor; });
}

void Board::close() {
    std::lock_guard<std::mutex> const lock(mMutex);
    mClosed = true;
    mNews.notify_all();
}

bool Board::closed() const {
    std::lock_guard<std::mutex> const lock(mMutex);
    return mClosed;
}
