#pragma once

#include "platform/Mutex.h"

#include <functional>
#include <json/json.h>
#include <string>

/**
 * What the rig has to tell: one JSON object a line, each with an "event" that says what happened.
 *
 * Lines come from several threads, whole and in the order of the calls.
 */
class ReportStream {
public:
    /** @param descriptor where the lines go; not closed here */
    explicit ReportStream(int descriptor);

    /** Writes the fields as one line, with "event" added. A reader that is gone costs the line. */
    void line(char const* event, Json::Value fields = Json::objectValue);

    /** Is told of each line too, in their order, on the thread of its caller; null: nobody. */
    using Watcher = std::function<void(Json::Value const&)>;
    void watch(Watcher watcher);

    /** The line of something that could not be done. */
    void error(std::string const& message);

private:
    int mDescriptor;
    Mutex mMutex;
    Json::FastWriter mWriter GUARDED_BY(mMutex);
    Watcher mWatcher GUARDED_BY(mMutex);
};
