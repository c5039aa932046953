#include "service/CTaggingImpl.h"

#include "bus/CTellbusRequest.h"
#include "service/JsonElements.h"
#include "service/StoredTags.h"
#include "tagdata/CTagIdMgr.h"

#include <algorithm>
#include <array>

namespace {

constexpr char SOURCE[] = "CTaggingImpl_processTellbusRequest";
constexpr char CHECKTAGSOURCE[] = "CTaggingImpl_checkTag";

/** The identity that a "checkTag" without a song id looks for. */
constexpr char NOSONGID[] = "0xFFFFFFFF";

CTagIdInfo readIdentity(Json::Value const& json) {
    CTagIdInfo identity;
    identity.iTunesSongID = NOSONGID;
    readIfPresent(json, "Name", identity.Name);
    readIfPresent(json, "Artist", identity.Artist);
    readIfPresent(json, "iTunesSongID", identity.iTunesSongID);
    return identity;
}

} // namespace

void CTaggingImpl::processTellbusRequest(CTellbusRequest* request) {
    if (request == nullptr) {
        return;
    }
    log(SOURCE, "-----< START >-----");
    log(SOURCE, "in processTellbusRequest");
    log(SOURCE, "Method: " + request->method);
    Json::Value const reply = replyTo(*request);
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

CTaggingImpl::_Taggable CTaggingImpl::checkTag(Json::Value const& params) {
    log(CHECKTAGSOURCE, "Enter checkTag");
    _Taggable result;
    CTagIdInfo identity = readIdentity(Json::nullValue);
    Json::Value const tagInfo = params.get("tagInfo", Json::nullValue);
    if (hasElements(tagInfo)) {
        identity = readIdentity(tagInfo[0U]);
        result.Name = identity.Name;
        result.Artist = identity.Artist;
        result.iTunesSongID = identity.iTunesSongID;
    }
    int const deviceId = readDeviceId(params);
    log(CHECKTAGSOURCE, "Get Tag info data");
    XMLTools xml(mDeviceId, mTools.DEBUG);
    std::unique_ptr<CConfigInfo> const config(xml.LoadConfig());
    if (config == nullptr) {
        return result;
    }
    log(CHECKTAGSOURCE, "LoadConfig success!");
    if (CTagIdManager* const registry = xml.LoadTagIdMgr()) {
        log(CHECKTAGSOURCE, "LoadTagIdMgr success!");
        result.tagged = registry->isTagIdExist(identity, static_cast<unsigned int>(deviceId));
        log(CHECKTAGSOURCE, "isTagIdExist success!");
    }
    return result;
}
