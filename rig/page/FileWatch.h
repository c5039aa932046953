#pragma once

#include "platform/Mutex.h"
#include "rig/page/Board.h"

#include <string>
#include <thread>

/**
 * Follows the service's files: the waiting tags and the record, which it reads anew after a change,
 * and the log, of which it puts each new line onto the board's stream "log".
 *
 * The lists may be long, so the board has their lengths alone, in the value "files", with a number
 * that grows with each change; a client asks for the part that it shows. Any thread may ask.
 */
class FileWatch {
public:
    FileWatch(std::string configuration, std::string log, Board& board);
    ~FileWatch();
    FileWatch(FileWatch const&) = delete;
    FileWatch& operator=(FileWatch const&) = delete;

    /** {"total":n,"from":from,"rows":[..]}: so many rows of "waiting" or "record". */
    Json::Value rows(std::string const& list, unsigned int from, unsigned int count) const;

private:
    void run();
    void watchFolders();
    void readLists();
    void readLog();
    void takeLines(std::string const& bytes);
    bool wait() const;

    std::string const mConfiguration;
    std::string const mLog;
    Board& mBoard;
    int mWake;
    int mNotify;
    std::string mStorage;
    std::uint64_t mLogPosition = 0;
    std::uint64_t mLogInode = 0;
    std::string mHalfLine;
    mutable Mutex mMutex;
    Json::Value mWaiting GUARDED_BY(mMutex) = Json::arrayValue;
    Json::Value mRecord GUARDED_BY(mMutex) = Json::arrayValue;
    unsigned int mVersion GUARDED_BY(mMutex) = 0;
    std::thread mThread;
};
