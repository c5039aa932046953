#include "service/CTaggingImpl.h"

#include "bus/CTellbusRequest.h"
#include "service/JsonElements.h"
#include "service/StoredTags.h"
#include "tagdata/CTagIdMgr.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

constexpr char SOURCE[] = "CTaggingImpl_processTellbusRequest";
constexpr char CHECKTAGSOURCE[] = "CTaggingImpl_checkTag";

/** The identity that a "checkTag" without a song id looks for. */
constexpr char NOSONGID[] = "0xFFFFFFFF";

void readIfPresent(Json::Value const& json, char const* key, std::string& member) {
    if (json.isMember(key)) {
        member = json[key].asString();
    }
}

void readIfPresent(Json::Value const& json, char const* key, int& member) {
    if (json.isMember(key)) {
        member = json[key].asInt();
    }
}

void readIfPresent(Json::Value const& json, char const* key, bool& member) {
    if (json.isMember(key)) {
        member = json[key].asBool();
    }
}

CTaggingImpl::_tag readTag(Json::Value const& json) {
    CTaggingImpl::_tag tag;
    tag.Artist = json["Artist"].asString();
    tag.Name = json["Name"].asString();
    readIfPresent(json, "Album", tag.Album);
    readIfPresent(json, "ButtonPressed", tag.ButtonPressed);
    readIfPresent(json, "Genre", tag.Genre);
    readIfPresent(json, "iTunesAffiliateID", tag.iTunesAffiliateID);
    readIfPresent(json, "iTunesSongID", tag.iTunesSongID);
    readIfPresent(json, "iTunesStationID", tag.iTunesStationID);
    readIfPresent(json, "iTunesStorefrontID", tag.iTunesStorefrontID);
    readIfPresent(json, "PodcastFeedURL", tag.PodcastFeedURL);
    readIfPresent(json, "ProgramNumber", tag.ProgramNumber);
    readIfPresent(json, "StationCallLetters", tag.StationCallLetters);
    readIfPresent(json, "StationFrequency", tag.StationFrequency);
    readIfPresent(json, "StationURL", tag.StationURL);
    readIfPresent(json, "TimeStamp", tag.TimeStamp);
    readIfPresent(json, "UnknownData", tag.UnknownData);
    return tag;
}

/** The station id has no member in a record and ends here. */
void fillRecord(CTag& record, CTaggingImpl::_tag const& tag) {
    record.Artist(tag.Artist);
    record.Name(tag.Name);
    record.Album(tag.Album);
    record.Genre(tag.Genre);
    record.iTunesAffiliateID(tag.iTunesAffiliateID);
    if (tag.iTunesSongID >= 0) {
        record.iTunesSongID(stdTools::toString(tag.iTunesSongID));
    }
    record.iTunesStorefrontID(static_cast<std::uint32_t>(tag.iTunesStorefrontID));
    if (tag.PodcastFeedURL != 0) {
        record.PodcastFeedURL(stdTools::toString(tag.PodcastFeedURL));
    }
    record.ProgramNumber(tag.ProgramNumber);
    record.StationCallLetters(tag.StationCallLetters);
    record.StationFrequency(tag.StationFrequency);
    record.StationURL(tag.StationURL);
    record.TimeStamp(tag.TimeStamp);
    record.UnknownData(tag.UnknownData);
}

/** The id that a request names, -1 where it names none. */
int readDeviceId(Json::Value const& params) {
    int deviceId = static_cast<int>(NODEVICE);
    readIfPresent(params, "deviceID", deviceId);
    return deviceId;
}

CTagIdInfo readIdentity(Json::Value const& json) {
    CTagIdInfo identity;
    identity.iTunesSongID = NOSONGID;
    readIfPresent(json, "Name", identity.Name);
    readIfPresent(json, "Artist", identity.Artist);
    readIfPresent(json, "iTunesSongID", identity.iTunesSongID);
    return identity;
}

} // namespace

CTag* CTaggingImpl::_tag::createCTag() const {
    auto record = std::make_unique<CTag>();
    fillRecord(*record, *this);
    return record.release();
}

CAmbigTag* CTaggingImpl::_tag::createCAmbigTag() const {
    auto record = std::make_unique<CAmbigTag>();
    fillRecord(*record, *this);
    record->ButtonPressed(ButtonPressed ? 1 : 0);
    return record.release();
}

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
    forEachElement(tags, [&](Json::Value const& tag) { records.push_back(readTag(tag)); });
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
