#include "radio/PressAnswer.h"

#include "bus/JsonText.h"

#include <json/writer.h>

namespace pressanswer {

namespace {

constexpr char NAME[] = "Name";

std::string answer(char const* name, std::string const& message) {
    Json::Value json(Json::objectValue);
    json[NAME] = name;
    json["Value"] = 0;
    json["Message"] = message;
    return Json::FastWriter().write(json);
}

} // namespace

std::string nothingPlaying() {
    return answer("NOTHING_PLAYING", "Nothing is playing that can be marked.");
}

std::string noService() {
    return answer("NO_SERVICE", "com.veldan.service.Songlatch is not on the bus, so nothing was "
                                "marked. Start the service and press again.");
}

std::string refused() {
    return answer("REFUSED", "The call of com.veldan.service.Songlatch failed, so nothing was "
                             "marked. The policy of the bus may forbid it.");
}

std::string noAnswer(unsigned int seconds) {
    return answer("NO_ANSWER", "The service gave no answer within " + std::to_string(seconds)
                                   + " s. The song may be marked all the same.");
}

std::string serviceEnded() {
    return answer("NO_ANSWER", "The service ended before it answered. Its log says why; press "
                               "again when it is back.");
}

std::string tooMany() {
    return answer("TOO_MANY", "Too many presses wait for the service. Press again later.");
}

std::string nameIn(std::string const& answer) {
    Json::Value json;
    bool const isNamed = parseJson(answer, json) && json.isObject() && json[NAME].isString();
    return isNamed ? json[NAME].asString() : answer;
}

} // namespace pressanswer
