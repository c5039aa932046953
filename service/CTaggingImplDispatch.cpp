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
    struct Entry {
        char const* name;
        Method method;
    };
    static constexpr std::array<Entry, 4> METHODS = {{
        {"tagRequest", &CTaggingImpl::replyToTagRequest},
        {"clearAllLocalTags", &CTaggingImpl::replyToClearAllLocalTags},
        {"getProperties", &CTaggingImpl::replyToGetProperties},
        {"checkTag", &CTaggingImpl::replyToCheckTag},
    }};

    if (request == nullptr) {
        return;
    }
    Json::Value reply(Json::objectValue);
    log(SOURCE, "-----< START >-----");
    log(SOURCE, "in processTellbusRequest");
    log(SOURCE, "Method: " + request->method);
    auto const* const entry =
        std::find_if(METHODS.begin(), METHODS.end(), [request](Entry const& candidate) {
            return request->method == candidate.name;
        });
    Method const method =
        entry == METHODS.end() ? &CTaggingImpl::replyToUnknownMethod : entry->method;
    (this->*method)(*request, reply);
    log(SOURCE, "-----< END >-----");
    if (request->noReplyExpected) {
        request->freeRequestContext();
    } else {
        request->returnReply(mWriter.write(reply), true);
    }
}

void CTaggingImpl::replyToTagRequest(CTellbusRequest& request, Json::Value& reply) {
    Json::Value const& params = request.parameters;
    int const deviceId = readDeviceId(params);
    Json::Value const tags = params.get("tags", Json::nullValue);
    if (!hasElements(tags)) {
        // The value of this one reply is text, and clients depend on either form.
        // Test: test_no_tags_required_value_as_text.
        reply["Name"] = _Status(ERROR).Name;
        reply["Value"] = stdTools::toString(ERROR);
        return;
    }
    log(SOURCE, "Tag Size: " + stdTools::toString(tags.size()));
    std::vector<_tag> records;
    forEachElement(tags, [&](Json::Value const& tag) { records.push_back(_tag::read(tag)); });
    EnuStatus const result = tagRequest(records, deviceId);
    mTransferStatus = result;
    reply = toJson(result);
    if (result == OK) {
        request.noReplyExpected = true;
    }
}

void CTaggingImpl::replyToClearAllLocalTags(CTellbusRequest&, Json::Value& reply) {
    reply = toJson(clearAllLocalTags());
}

void CTaggingImpl::replyToGetProperties(CTellbusRequest& request, Json::Value& reply) {
    bool transfer = false;
    bool connection = false;
    bool local = false;
    Json::Value const props = request.parameters.get("props", Json::nullValue);
    forEachElement(props, [&](Json::Value const& prop) {
        std::string const name = prop.asString();
        transfer = transfer || name == TRANSFERSTATUS;
        connection = connection || name == CONNECTIONSTATUS;
        local = local || name == LOCALSTATUS;
    });
    reply = getProperties(transfer, connection, local);
}

void CTaggingImpl::replyToCheckTag(CTellbusRequest& request, Json::Value& reply) {
    _Taggable const result = checkTag(request.parameters);
    reply["Artist"] = result.Artist;
    reply["Name"] = result.Name;
    reply["iTunesSongID"] = result.iTunesSongID;
    reply["tagged"] = result.tagged;
}

void CTaggingImpl::replyToUnknownMethod(CTellbusRequest& request, Json::Value& reply) {
    log(SOURCE, "Unknown method:" + request.method);
    reply["errCode"] = "eFail";
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
