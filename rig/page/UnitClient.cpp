#include "rig/page/UnitClient.h"

#include "tellbus/tellbus.h"

#include <future>
#include <memory>
#include <stdexcept>

namespace {

constexpr char SERVICE[] = "com.veldan.service.Songlatch";
constexpr char SERVICE_PATH[] = "/com/veldan/service/Songlatch";
constexpr char RADIO[] = "com.veldan.service.Radio";
constexpr char RADIO_PATH[] = "/com/veldan/service/Radio";
constexpr char const* STATUSES[] = {"localStatus", "connectionStatus", "transferStatus"};
constexpr char ALL_STATUSES[] = R"({"props":["localStatus","connectionStatus","transferStatus"]})";
constexpr unsigned int PATIENCE = 10000; // milliseconds; the driver may be ordered to be slow

Json::Value parsed(std::string const& text) {
    Json::Value value;
    return Json::Reader().parse(text, value) ? value : Json::Value(text);
}

std::string reasonOf(TELLBUS_tStatus status) {
    switch (status) {
    case TELLBUS_E_NO_SERVICE:
        return "it is not on the bus";
    case TELLBUS_E_TIMEOUT:
        return "no answer within 10 seconds";
    case TELLBUS_E_DISCONNECTED:
        return "the bus is away";
    case TELLBUS_E_NO_REPLY:
        return "it went away without an answer";
    case TELLBUS_E_REMOTE:
        return "it answered with an error";
    default:
        return "the call failed with status " + std::to_string(status);
    }
}

struct Outcome {
    TELLBUS_tStatus status;
    std::string text;
};
using Promise = std::promise<Outcome>;

void onResult(TELLBUS_tCallbackStatus const* status, char const* result, void* cookie) {
    std::unique_ptr<Promise> const promise(static_cast<Promise*>(cookie));
    promise->set_value({status->status, result == nullptr ? "" : result});
}

} // namespace

UnitClient::UnitClient(Board& board) : mBoard(board) {
    bool const joined = !TELLBUS_FAILED(TELLBUS_initialize())
                        && !TELLBUS_FAILED(TELLBUS_getConnection(0, 0, &mConnection));
    if (!joined) {
        throw std::runtime_error("the page cannot join the bus");
    }
    for (char const* const status : STATUSES) {
        watch(SERVICE_PATH, status);
    }
    watch(RADIO_PATH, "nowPlaying");
    mBoard.set("present", Json::objectValue);
    void* ignored = nullptr;
    for (char const* const name : {SERVICE, RADIO}) {
        unsigned int owned = 0;
        TELLBUS_subscribeOwnerChanged(mConnection, name, onOwner, this, &ignored);
        TELLBUS_nameHasOwner(mConnection, name, &owned);
        onOwner(name, "", owned == 1 ? "somebody" : "", this);
    }
}

UnitClient::~UnitClient() {
    TELLBUS_closeConnection(mConnection);
    TELLBUS_shutdown();
}

void UnitClient::watch(char const* path, char const* signal) {
    void* ignored = nullptr;
    TELLBUS_subscribe(mConnection, path, signal, onSignal, this, &ignored);
}

void UnitClient::onSignal(char const* name, char const* data, void* cookie) {
    static_cast<UnitClient*>(cookie)->mBoard.set(name, parsed(data));
}

void UnitClient::onOwner(char const* name, char const*, char const* after, void* cookie) {
    auto& self = *static_cast<UnitClient*>(cookie);
    bool const present = after[0] != '\0';
    Json::Value all = self.mBoard.value("present");
    all[name] = present;
    self.mBoard.set("present", all);
    if (present) {
        self.askForAll(name);
    } else if (std::string(name) == RADIO) {
        self.mBoard.set("nowPlaying", Json::Value());
    }
}

void UnitClient::askForAll(std::string const& name) {
    if (name == RADIO) {
        TELLBUS_asyncInvoke(
            mConnection, RADIO, RADIO_PATH, "nowPlaying", nullptr, false, PATIENCE,
            [](TELLBUS_tCallbackStatus const*, char const* result, void* cookie) {
                if (result != nullptr) {
                    static_cast<UnitClient*>(cookie)->mBoard.set("nowPlaying", parsed(result));
                }
            },
            nullptr, this);
        return;
    }
    TELLBUS_asyncInvoke(
        mConnection, SERVICE, SERVICE_PATH, "getProperties", ALL_STATUSES, false, PATIENCE,
        [](TELLBUS_tCallbackStatus const*, char const* result, void* cookie) {
            Json::Value const answer = parsed(result == nullptr ? "{}" : result);
            Json::Value const values = answer.isObject() ? answer["props"] : Json::Value();
            for (char const* const status : STATUSES) {
                if (values.isObject() && values.isMember(status)) {
                    static_cast<UnitClient*>(cookie)->mBoard.set(status, values[status]);
                }
            }
        },
        nullptr, this);
}

Json::Value UnitClient::callRadio(std::string const& method) {
    return call(RADIO, RADIO_PATH, method);
}

Json::Value UnitClient::callService(std::string const& method) {
    return call(SERVICE, SERVICE_PATH, method);
}

Json::Value UnitClient::call(char const* name, char const* path, std::string const& method) {
    auto promise = std::make_unique<Promise>();
    auto answer = promise->get_future();
    auto const status = TELLBUS_asyncInvoke(mConnection, name, path, method.c_str(), nullptr, false,
                                            PATIENCE, onResult, nullptr, promise.get());
    if (TELLBUS_FAILED(status)) {
        throw std::runtime_error(std::string(name) + ": " + reasonOf(status));
    }
    static_cast<void>(promise.release()); // onResult's now, which is called exactly once
    Outcome const outcome = answer.get();
    if (TELLBUS_FAILED(outcome.status)) {
        throw std::runtime_error(std::string(name) + ": " + reasonOf(outcome.status));
    }
    return parsed(outcome.text);
}
