#pragma once

#include "platform/Mutex.h"
#include "rig/ReportStream.h"

#include <json/json.h>
#include <string>

/**
 * The unit's media service on the bus, as far as the tagging service knows it: it answers
 * "getDevices" and emits "deviceState".
 *
 * Questions arrive on the bus library's thread; everything else is called by the main thread.
 */
class MediaService {
public:
    /** What "getDevices" gets: the list, a fixed text, nothing at all, or a bus error. */
    enum class Answer { List, Text, None, Error };

    static constexpr char NAME[] = "com.veldan.service.Media";
    static constexpr char PATH[] = "/com/veldan/service/Media";

    /**
     * Joins the bus and takes the name.
     * @throws std::runtime_error if there is no bus or the name is taken
     */
    explicit MediaService(ReportStream& report);
    ~MediaService();
    MediaService(MediaService const&) = delete;
    MediaService& operator=(MediaService const&) = delete;

    /** The answer to "getDevices" from now on; text counts for Answer::Text alone. */
    void answerWith(Answer answer, std::string const& text = "");

    /** The devices of the answer, as the JSON array of "devices". */
    void setDevices(Json::Value const& devices);

    /** Emits "deviceState" with this text. @throws std::runtime_error if the bus refuses it */
    void emitDeviceState(std::string const& json);

private:
    /** Membership of the bus; given up also if the name cannot be taken. */
    struct Membership {
        Membership();
        ~Membership();
        Membership(Membership const&) = delete;
        Membership& operator=(Membership const&) = delete;
        void* connection = nullptr;
    };

    static void onRequest(void* requestContext, char const* method, char const* parameters,
                          int noReplyExpected, void* cookie);
    void reply(void* requestContext, std::string const& method);
    void replyToGetDevices(void* requestContext);

    ReportStream& mReport;
    Mutex mMutex;
    Answer mAnswer GUARDED_BY(mMutex) = Answer::List;
    std::string mText GUARDED_BY(mMutex);
    std::string mList GUARDED_BY(mMutex);
    Membership mBus;
    void* mRegistration = nullptr;
};
