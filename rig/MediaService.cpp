#include "rig/MediaService.h"

#include "tellbus/tellbus.h"

#include <cstdio>
#include <stdexcept>

namespace {

constexpr char ERROR_NAME[] = "com.veldan.service.Error";

void require(TELLBUS_tStatus status, char const* what) {
    if (!TELLBUS_FAILED(status)) {
        return;
    }
    char number[16];
    std::snprintf(number, sizeof number, "0x%X", status);
    throw std::runtime_error(std::string(what) + " failed with status " + number);
}

/** The refusal that an integrator meets first has a cure, which a number would not tell. */
void requireName(TELLBUS_tStatus status) {
    if (status == TELLBUS_E_REFUSED) {
        throw std::runtime_error(
            "the policy of the bus does not let this user take the name com.veldan.service.Media; "
            "see "
            "/usr/share/dbus-1/system.d/com.veldan.service.Songlatch.conf, or run as root");
    }
    require(status, "taking the name com.veldan.service.Media");
}

char const* nameOf(MediaService::Answer answer) {
    switch (answer) {
    case MediaService::Answer::List:
        return "list";
    case MediaService::Answer::Text:
        return "text";
    case MediaService::Answer::None:
        return "none";
    case MediaService::Answer::Error:
        return "error";
    }
    return "";
}

} // namespace

MediaService::Membership::Membership() {
    require(TELLBUS_initialize(), "TELLBUS_initialize");
    try {
        require(TELLBUS_getConnection(0, 0, &connection), "joining the bus");
    } catch (std::runtime_error const&) {
        TELLBUS_shutdown();
        throw;
    }
}

MediaService::Membership::~Membership() {
    TELLBUS_closeConnection(connection);
    TELLBUS_shutdown();
}

MediaService::MediaService(ReportStream& report) : mReport(report) {
    setDevices(Json::arrayValue);
    requireName(
        TELLBUS_registerService(mBus.connection, NAME, PATH, 0, onRequest, this, &mRegistration));
}

MediaService::~MediaService() {
    TELLBUS_unregisterService(mRegistration);
}

void MediaService::answerWith(Answer answer, std::string const& text) {
    MutexLock const lock(mMutex);
    mAnswer = answer;
    mText = text;
}

void MediaService::setDevices(Json::Value const& devices) {
    Json::Value list;
    list["devices"] = devices;
    MutexLock const lock(mMutex);
    mList = Json::FastWriter().write(list);
}

void MediaService::emitDeviceState(std::string const& json) {
    require(TELLBUS_emit(mRegistration, "deviceState", json.c_str()), "emitting deviceState");
}

void MediaService::onRequest(void* requestContext, char const* method, char const*,
                             int noReplyExpected, void* cookie) {
    if (noReplyExpected == 0) {
        static_cast<MediaService*>(cookie)->reply(requestContext, method);
    }
    TELLBUS_freeReqContext(requestContext);
}

void MediaService::reply(void* requestContext, std::string const& method) {
    if (method == "getDevices") {
        replyToGetDevices(requestContext);
        return;
    }
    mReport.error("asked for the unknown method " + method);
    TELLBUS_returnError(requestContext, ERROR_NAME, "unknown method");
}

void MediaService::replyToGetDevices(void* requestContext) {
    MutexLock const lock(mMutex);
    Json::Value fields;
    fields["answer"] = nameOf(mAnswer);
    mReport.line("getDevices", fields);
    switch (mAnswer) {
    case Answer::List:
        TELLBUS_returnResult(requestContext, mList.c_str());
        return;
    case Answer::Text:
        TELLBUS_returnResult(requestContext, mText.c_str());
        return;
    case Answer::Error:
        TELLBUS_returnError(requestContext, ERROR_NAME, "the media service refuses");
        return;
    case Answer::None:
        return;
    }
}
