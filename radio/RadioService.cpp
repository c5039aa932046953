// Presses of the button go through here, from a method or a key to a "tagRequest" and from its
// reply to whoever pressed. mPresses holds those that wait, oldest first; each owns the request it
// will answer, and leaves with its one answer: the reply of the service, the end of the service, or
// the deadline. That is kept here, as of a call that the library gives up nobody is told. The songs
// of a press are chosen when it comes, so that what is playing may change while it waits.
#include "radio/RadioService.h"

#include "bus/CTellbusEventTypes.h"
#include "bus/CTellbusRequest.h"
#include "bus/TellbusStatus.h"
#include "radio/LocalTime.h"
#include "radio/PressAnswer.h"
#include "tagdata/HexParser.h"

#include <algorithm>
#include <iostream>

namespace {

constexpr char RADIO_NAME[] = "com.veldan.service.Radio";
constexpr char RADIO_PATH[] = "/com/veldan/service/Radio";
constexpr char SERVICE_NAME[] = "com.veldan.service.Songlatch";
constexpr char SERVICE_PATH[] = "/com/veldan/service/Songlatch";

constexpr char TAG_REQUEST[] = "tagRequest";
constexpr char TAG_NOW[] = "tagNow";
constexpr char GET_PROPERTIES[] = "getProperties";
/** Method, signal and property. */
constexpr char NOW_PLAYING[] = "nowPlaying";
constexpr char DEVICE_ID[] = "deviceID";

/** A service that waits for a slow iPod takes that long. */
constexpr std::chrono::seconds PATIENCE(10);
constexpr std::size_t MOST_PRESSES = 32;

/** The member of an object; null if there is none or the value is no object. */
Json::Value const& memberOf(Json::Value const& object, char const* name) {
    return object.isObject() ? object[name] : Json::Value::nullSingleton();
}

std::string inQuotes(Record const& song) {
    return "\"" + song.title + "\" by " + song.artist;
}

std::string namesOf(Marked const& marked) {
    return inQuotes(marked.playing) + (marked.before ? " or " + inQuotes(*marked.before) : "");
}

} // namespace

RadioService::RadioService(NowPlaying& playing, Reception const& reception,
                           std::function<void()> settle)
    : CSvcImplBase(RADIO_NAME, RADIO_PATH, false), mPlaying(playing), mReception(reception),
      mSettle(std::move(settle)), mDeadline([this] { giveUpLate(); }) {
    subscribeOwnerChanged(SERVICE_NAME, nullptr);
}

bool RadioService::publish() {
    publishSvcName();
    // The base does not say whether it has the name; without it nothing can be emitted.
    return !isTellbusFailure(emit(NOW_PLAYING, mWriter.write(nowPlaying()).c_str()));
}

void RadioService::announce(std::string const& time) {
    mTime = timeOr(time);
    auto const& song = mPlaying.song();
    std::cout << mTime << " " << (song ? inQuotes(*song) : "nothing that can be marked")
              << std::endl;
    emit(NOW_PLAYING, mWriter.write(nowPlaying()).c_str());
}

void RadioService::processTellbusRequest(CTellbusRequest* request) {
    void* const context = request->noReplyExpected ? nullptr : request->context;
    if (request->method == TAG_NOW) {
        tagNow(request->parameters, context);
        return;
    }
    mSettle();
    Json::Value answer(Json::objectValue);
    if (request->method == NOW_PLAYING) {
        answer = nowPlaying();
    } else if (request->method == GET_PROPERTIES) {
        answer = getProperties(request->parameters);
    } else {
        answer["errCode"] = "eFail";
    }
    reply(context, mWriter.write(answer));
}

Json::Value RadioService::nowPlaying() const {
    auto const& song = mPlaying.song();
    Json::Value json(Json::objectValue);
    json["time"] = mTime;
    json["song"] =
        song ? songJson(*song, mPlaying.station(), mReception) : Json::Value(Json::nullValue);
    json["station"] = stationJson(mPlaying.station());
    return json;
}

Json::Value RadioService::getProperties(Json::Value const& parameters) const {
    Json::Value values(Json::objectValue);
    Json::Value const& names = memberOf(parameters, "props");
    for (Json::Value const& name : names) {
        if (name.isString() && name.asString() == NOW_PLAYING) {
            values[NOW_PLAYING] = nowPlaying();
        }
    }
    Json::Value answer(Json::objectValue);
    answer["props"] = values;
    return answer;
}

void RadioService::press() {
    tagNow(Json::Value(), nullptr);
}

void RadioService::tagNow(Json::Value const& parameters, void* request) {
    mSettle();
    auto const marked = mPlaying.marked();
    Press press{0, request, marked ? namesOf(*marked) : "", {}};
    if (!marked || mPresses.size() >= MOST_PRESSES) {
        answer(press, marked ? pressanswer::tooMany() : pressanswer::nothingPlaying());
        return;
    }
    Json::Value call =
        tagRequest(*marked, mPlaying.station(), mReception, CHexParser(0, false).FormattedNow());
    // Any other kind of device would end the service.
    if (Json::Value const& device = memberOf(parameters, DEVICE_ID); device.isInt()) {
        call[DEVICE_ID] = device.asInt();
    }
    // Of a call that the library gives up nobody is told, so the deadline is kept here.
    press.call =
        invoke(SERVICE_NAME, SERVICE_PATH, TAG_REQUEST, call, false,
               static_cast<unsigned int>(std::chrono::milliseconds(PATIENCE).count()), nullptr);
    press.deadline = std::chrono::steady_clock::now() + PATIENCE;
    mPresses.push_back(press);
    startDeadline();
}

void RadioService::processTellbusResult(unsigned int const& id, char const* text, void*) {
    auto const press = std::find_if(mPresses.begin(), mPresses.end(),
                                    [id](Press const& waiting) { return waiting.call == id; });
    if (press == mPresses.end()) {
        return;
    }
    std::string const answered = text;
    if (!answered.empty()) {
        remove(press, answered);
    } else {
        remove(press,
               nameHasOwner(SERVICE_NAME) ? pressanswer::refused() : pressanswer::noService());
    }
}

void RadioService::processTellbusNameChange(unsigned int const&, CTellbusNameChange const* change,
                                            void*) {
    // A call that a new owner has is not among those that the former one took with it.
    if (*change->oldOwner == '\0') {
        return;
    }
    while (!mPresses.empty()) {
        answerFirst(pressanswer::serviceEnded());
    }
}

void RadioService::answerFirst(std::string const& text) {
    ignoreResponse(mPresses.front().call);
    remove(mPresses.begin(), text);
}

void RadioService::giveUpLate() {
    auto const now = std::chrono::steady_clock::now();
    while (!mPresses.empty() && mPresses.front().deadline <= now) {
        answerFirst(pressanswer::noAnswer(static_cast<unsigned int>(PATIENCE.count())));
    }
    startDeadline();
}

void RadioService::startDeadline() {
    if (!mPresses.empty()) {
        auto const left = mPresses.front().deadline - std::chrono::steady_clock::now();
        mDeadline.start(std::max(std::chrono::ceil<std::chrono::milliseconds>(left),
                                 std::chrono::milliseconds(1)));
    }
}

void RadioService::remove(Presses::iterator press, std::string const& text) {
    Press const answered = *press;
    mPresses.erase(press);
    answer(answered, text);
    if (mPresses.empty()) {
        mReportIdle();
    }
}

void RadioService::answer(Press const& press, std::string const& text) {
    std::cout << "press: " << (press.songs.empty() ? "" : press.songs + ": ")
              << pressanswer::nameIn(text) << std::endl;
    reply(press.request, text);
}

void RadioService::reply(void* request, std::string const& text) {
    if (request != nullptr) {
        returnReply(request, text.c_str(), true);
    }
}
