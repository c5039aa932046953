#include "service/Replies.h"

#include "service/JsonElements.h"

Json::Value replyToTagRequest(Json::Value const& params, StoreTags const& store,
                              std::function<void(std::string const&)> const& log) {
    int const deviceId = readDeviceId(params);
    Json::Value const tags = params.get("tags", Json::nullValue);
    if (!hasElements(tags)) {
        // The value of this one reply is text, and clients depend on either form.
        // Test: test_no_tags_give_the_value_as_text.
        Json::Value reply = toJson(TaggingStatus::ERROR);
        reply["Value"] = stdTools::toString(TaggingStatus::ERROR);
        return reply;
    }
    log("Tag Size: " + stdTools::toString(tags.size()));
    std::vector<RequestedTag> records;
    forEachElement(tags,
                   [&](Json::Value const& tag) { records.push_back(RequestedTag::read(tag)); });
    return toJson(store(records, deviceId));
}

Json::Value replyToGetProperties(Json::Value const& params, ReadProperties const& read) {
    bool transfer = false;
    bool connection = false;
    bool local = false;
    Json::Value const props = params.get("props", Json::nullValue);
    forEachElement(props, [&](Json::Value const& prop) {
        std::string const name = prop.asString();
        transfer = transfer || name == TRANSFERSTATUS;
        connection = connection || name == CONNECTIONSTATUS;
        local = local || name == LOCALSTATUS;
    });
    return read(transfer, connection, local);
}

Json::Value replyToCheckTag(Taggable const& result) {
    Json::Value reply(Json::objectValue);
    reply["Artist"] = result.Artist;
    reply["Name"] = result.Name;
    reply["iTunesSongID"] = result.iTunesSongID;
    reply["tagged"] = result.tagged;
    return reply;
}

Json::Value replyToUnknownMethod() {
    Json::Value reply(Json::objectValue);
    reply["errCode"] = "eFail";
    return reply;
}
