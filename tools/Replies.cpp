#include "tools/Replies.h"

#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Requests.h"
#include "tools/Text.h"

#include <ostream>

namespace {

constexpr StatusMeaning MEANINGS[] = {
    {"OK", true, "done"},
    {"ERROR", false, "the service could not take it; its log says why"},
    {"TARGET_FULL", true, "the iPod has no room for it; it waits in the unit"},
    {"LOCAL_STORAGE_FULL", false,
     "as many tags wait as the unit holds, and this one is lost. Attach an iPod, or make room with "
     "songlatchctl remove"},
    {"STORED_LOCAL", true, "it waits in the unit for an iPod"},
    {"STORED_ON_TARGET", true, "it went to an iPod"},
    {"TRANSFER_SUCCEEDED", true, "what waited went to an iPod"},
    {"TRANSFER_FAILED", false, "no iPod took what waits; it stays in the unit"},
    {"STOREDLOCAL_IPOD_INCOMPATIBLE", true,
     "the iPod does not support tagging; it waits in the unit"},
    {"LOCALFULL_IPOD_INCOMPATIBLE", false,
     "no iPod supports tagging, and as many tags wait as the unit holds"},
};

/** What the radio side answers where there is no service to mark a song. */
constexpr char NO_SERVICE[] = "NO_SERVICE";

constexpr StatusMeaning UNKNOWN = {"", false, "a status that this client does not know"};

} // namespace

StatusMeaning const& meaningOf(std::string const& name) {
    for (StatusMeaning const& meaning : MEANINGS) {
        if (name == meaning.name) {
            return meaning;
        }
    }
    return UNKNOWN;
}

std::string textAt(Json::Value const& value, char const* key) {
    Json::Value const member = value.isObject() ? value[key] : Json::Value();
    return member.isString() ? member.asString() : std::string();
}

Json::Value parseReply(std::string const& text) {
    Json::Value reply = parseJson(text, "the answer");
    if (!reply.isObject()) {
        throw Failure("the answer is " + shown(reply) + ", where an object is expected");
    }
    return reply;
}

void reportStatus(Console& console, Json::Value const& reply, bool json) {
    std::string const name = textAt(reply, "Name");
    StatusMeaning const& status = meaningOf(name);
    // The radio side says itself what keeps it from asking the service.
    std::string const message = textAt(reply, "Message");
    std::string const sentence = name + ": " + (message.empty() ? status.meaning : message);
    if (json) {
        printJson(console, reply);
    } else if (status.isDone) {
        console.out << printable(sentence) << "\n";
    }
    if (!status.isDone) {
        throw Failure(sentence, name == NO_SERVICE ? Unreachable : Failed);
    }
}
