// One method call of the bus at a time comes in here as a request, goes by its name to the
// operation that does the work, and leaves as the text of a reply. The request belongs to the event
// loop; this file only answers it, and lets go of the library's context of the call. An exception
// passes through on purpose: the caller then gets no reply, and the process ends in main.
#include "service/CTaggingImpl.h"

#include "bus/CTellbusRequest.h"
#include "service/Keeping.h"

#include <algorithm>
#include <array>

namespace {

constexpr char SOURCE[] = "CTaggingImpl_processTellbusRequest";

} // namespace

void CTaggingImpl::processTellbusRequest(CTellbusRequest* request) {
    if (request == nullptr) {
        return;
    }
    log(SOURCE, "-----< START >-----");
    log(SOURCE, "in processTellbusRequest");
    log(SOURCE, "Method: " + request->method);
    Json::Value const reply = wayForThis().replyTo(*request);
    log(SOURCE, "-----< END >-----");
    if (request->noReplyExpected) {
        request->freeRequestContext();
    } else {
        request->returnReply(mWriter.write(reply), true);
    }
}

Json::Value CTaggingImpl::replyTo(CTellbusRequest& request) {
    using Method = Json::Value (CTaggingImpl::*)(CTellbusRequest&);
    struct Entry {
        char const* name;
        Method method;
    };
    static constexpr std::array<Entry, 4> METHODS = {{
        {"tagRequest", &CTaggingImpl::answerTagRequest},
        {"clearAllLocalTags", &CTaggingImpl::answerClearAllLocalTags},
        {"getProperties", &CTaggingImpl::answerGetProperties},
        {"checkTag", &CTaggingImpl::answerCheckTag},
    }};
    auto const* const entry =
        std::find_if(METHODS.begin(), METHODS.end(), [&request](Entry const& candidate) {
            return request.method == candidate.name;
        });
    if (entry == METHODS.end()) {
        log(SOURCE, "Unknown method:" + request.method);
        return replyToUnknownMethod();
    }
    return (this->*entry->method)(request);
}

Json::Value CTaggingImpl::answerTagRequest(CTellbusRequest& request) {
    auto const store = [&](std::vector<_tag>& tags, int deviceId) {
        EnuStatus const result = tagRequest(tags, deviceId);
        mTransferStatus = result;
        if (result == OK) {
            request.noReplyExpected = true;
        }
        return result;
    };
    return replyToTagRequest(request.parameters, store,
                             [this](std::string const& line) { log(SOURCE, line); });
}

Json::Value CTaggingImpl::answerClearAllLocalTags(CTellbusRequest&) {
    return toJson(clearAllLocalTags());
}

Json::Value CTaggingImpl::answerGetProperties(CTellbusRequest& request) {
    return replyToGetProperties(request.parameters,
                                [this](bool transfer, bool connection, bool local) {
                                    return getProperties(transfer, connection, local);
                                });
}

Json::Value CTaggingImpl::answerCheckTag(CTellbusRequest& request) {
    return replyToCheckTag(checkTag(request.parameters));
}
