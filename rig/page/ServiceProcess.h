#pragma once

#include "platform/Mutex.h"
#include "rig/page/Board.h"

#include <condition_variable>
#include <future>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

/**
 * The service, where the rig was told to start it. The board's value "service" says how it is:
 * {"command","running","pid","ended"}. It dies with the rig, however that ends. Any thread.
 */
class ServiceProcess {
public:
    /** @param words the program and its arguments */
    ServiceProcess(std::vector<std::string> words, Board& board);

    /** Kills what runs and waits for its end. */
    ~ServiceProcess();
    ServiceProcess(ServiceProcess const&) = delete;
    ServiceProcess& operator=(ServiceProcess const&) = delete;

    /** @throws std::runtime_error if it runs already or cannot be started */
    void start();

    /** Kills it at once, as a power cut would, and waits for its end. @throws if it does not run */
    void kill();

private:
    /** What a start came to: the process, or the error of the system. */
    struct Started {
        pid_t pid;
        int error;
    };

    void run(std::promise<Started>& started);
    void waitForEnd(pid_t pid);
    void publish() const REQUIRES(mMutex);

    std::vector<std::string> const mWords;
    Board& mBoard;
    Mutex mMutex;
    std::condition_variable mEnd;
    pid_t mPid GUARDED_BY(mMutex) = 0; ///< 0 while it does not run
    std::string mEnded GUARDED_BY(mMutex);
    std::thread mWatcher GUARDED_BY(mMutex);
};
