// A monitor of the bus on a thread of its own.
//
// Messages come in in the order of the bus. A call is kept by its sender and serial until its
// reply, which names the same two, and the pair leaves as two entries with one id; the time between
// them is that between their passages of the bus, as it is seen here. Calls that are never answered
// are let go when there are too many. All libdbus objects live and die on this thread.
#include "rig/page/BusWatch.h"

#include <array>
#include <chrono>
#include <cstring>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <unistd.h>

#include <dbus/dbus.h>

namespace {

constexpr std::size_t MOST_PENDING = 4096;
constexpr std::size_t LONGEST_TEXT = 4000;
constexpr int CALL_TIMEOUT = 5000;
constexpr int RETRY = 500;

struct Unref {
    void operator()(DBusMessage* message) const { dbus_message_unref(message); }
    void operator()(DBusConnection* connection) const {
        dbus_connection_close(connection);
        dbus_connection_unref(connection);
    }
};
using Message = std::unique_ptr<DBusMessage, Unref>;
using Connection = std::unique_ptr<DBusConnection, Unref>;

/** An error of libdbus. */
class Error {
public:
    Error() { dbus_error_init(&mError); }
    ~Error() { dbus_error_free(&mError); }
    Error(Error const&) = delete;
    Error& operator=(Error const&) = delete;
    DBusError* get() { return &mError; }
    std::string text() const { return mError.message == nullptr ? "no answer" : mError.message; }

private:
    DBusError mError{};
};

std::int64_t now() {
    auto const time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

std::int64_t wallClock() {
    auto const time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

std::string orEmpty(char const* text) {
    return text == nullptr ? "" : text;
}

/** The first string of a message, cut where it is longer than a page shows. */
std::string textOf(DBusMessage* message) {
    DBusMessageIter at;
    if (dbus_message_iter_init(message, &at) == FALSE
        || dbus_message_iter_get_arg_type(&at) != DBUS_TYPE_STRING) {
        return "";
    }
    char const* text = nullptr;
    dbus_message_iter_get_basic(&at, &text);
    std::size_t end = std::min(std::strlen(text), LONGEST_TEXT);
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end; // between two letters
    }
    std::string const shown(text, end);
    return text[end] == '\0' ? shown : shown + "…";
}

Message toBus(char const* method) {
    return Message(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                                DBUS_INTERFACE_DBUS, method));
}

Message ask(DBusConnection* connection, DBusMessage* question, DBusError* error) {
    return Message(
        dbus_connection_send_with_reply_and_block(connection, question, CALL_TIMEOUT, error));
}

Connection connect() {
    Error error;
    bool const started = getenv("DBUS_STARTER_ADDRESS") != nullptr;
    auto const type = started ? DBUS_BUS_STARTER : DBUS_BUS_SYSTEM;
    Connection connection(dbus_bus_get_private(type, error.get()));
    if (connection) {
        dbus_connection_set_exit_on_disconnect(connection.get(), FALSE);
    }
    return connection;
}

} // namespace

BusWatch::BusWatch(Board& board) : mBoard(board), mWake(eventfd(0, EFD_CLOEXEC)) {
    if (mWake == -1) {
        throw std::runtime_error(std::string("no eventfd: ") + std::strerror(errno));
    }
    dbus_threads_init_default();
    mThread = std::thread(&BusWatch::run, this);
}

BusWatch::~BusWatch() {
    eventfd_write(mWake, 1);
    mThread.join();
    close(mWake);
}

void BusWatch::run() {
    while (watchOnce() && wait(-1, RETRY)) {
    }
}

bool BusWatch::watchOnce() {
    auto const connection = connect();
    if (!connection) {
        mBoard.set("watching", "there is no bus at the moment");
        return true;
    }
    learnNames(connection.get());
    if (!becomeMonitor(connection.get())) {
        return true;
    }
    int descriptor = -1;
    dbus_connection_get_unix_fd(connection.get(), &descriptor);
    while (drain(connection.get())) {
        if (!wait(descriptor, -1)) {
            return false;
        }
        dbus_connection_read_write(connection.get(), 0);
    }
    mBoard.set("watching", "the bus has gone");
    return true;
}

bool BusWatch::becomeMonitor(DBusConnection* connection) {
    Message const request(dbus_message_new_method_call(
        DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, "org.freedesktop.DBus.Monitoring", "BecomeMonitor"));
    char const* const everything[] = {nullptr};
    char const* const* rules = everything;
    dbus_uint32_t flags = 0;
    dbus_message_append_args(request.get(), DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &rules, 0,
                             DBUS_TYPE_UINT32, &flags, DBUS_TYPE_INVALID);
    Error error;
    auto const answer = ask(connection, request.get(), error.get());
    mBoard.set("watching", answer ? "" : "the bus does not let us watch: " + error.text());
    return answer != nullptr;
}

void BusWatch::learnNames(DBusConnection* connection) {
    mNames.clear();
    mPending.clear();
    for (char const* const name :
         {"com.veldan.service.Songlatch", "com.veldan.service.Radio", "com.veldan.service.Media"}) {
        auto const question = toBus("GetNameOwner");
        dbus_message_append_args(question.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
        Error error;
        if (auto const answer = ask(connection, question.get(), error.get())) {
            mNames[textOf(answer.get())] = name;
        }
    }
}

bool BusWatch::drain(DBusConnection* connection) {
    while (Message const message{dbus_connection_pop_message(connection)}) {
        take(message.get());
    }
    return dbus_connection_get_is_connected(connection) != FALSE;
}

void BusWatch::take(DBusMessage* message) {
    Json::Value entry;
    entry["time"] = Json::Int64(wallClock());
    entry["from"] = nameOf(dbus_message_get_sender(message));
    switch (dbus_message_get_type(message)) {
    case DBUS_MESSAGE_TYPE_METHOD_CALL:
        takeCall(message, std::move(entry));
        return;
    case DBUS_MESSAGE_TYPE_METHOD_RETURN:
    case DBUS_MESSAGE_TYPE_ERROR:
        takeReply(message, std::move(entry));
        return;
    case DBUS_MESSAGE_TYPE_SIGNAL:
        takeSignal(message, std::move(entry));
        return;
    default:
        return;
    }
}

void BusWatch::takeCall(DBusMessage* message, Json::Value entry) {
    if (mPending.size() >= MOST_PENDING) {
        mPending.clear();
    }
    Call const call{++mLastCall, now()};
    mPending[{orEmpty(dbus_message_get_sender(message)), dbus_message_get_serial(message)}] = call;
    entry["kind"] = "call";
    entry["id"] = Json::Int64(call.id);
    entry["to"] = nameOf(dbus_message_get_destination(message));
    entry["member"] = orEmpty(dbus_message_get_member(message));
    entry["text"] = textOf(message);
    entry["wantsReply"] = dbus_message_get_no_reply(message) == FALSE;
    mBoard.append("bus", std::move(entry));
}

void BusWatch::takeReply(DBusMessage* message, Json::Value entry) {
    auto const call = mPending.find(
        {orEmpty(dbus_message_get_destination(message)), dbus_message_get_reply_serial(message)});
    if (call == mPending.end()) {
        return; // the call passed before we watched
    }
    entry["kind"] = "reply";
    entry["id"] = Json::Int64(call->second.id);
    entry["milliseconds"] = static_cast<double>(now() - call->second.microseconds) / 1000;
    entry["text"] = textOf(message);
    entry["error"] = orEmpty(dbus_message_get_error_name(message));
    mPending.erase(call);
    mBoard.append("bus", std::move(entry));
}

void BusWatch::takeSignal(DBusMessage* message, Json::Value entry) {
    if (dbus_message_is_signal(message, DBUS_INTERFACE_DBUS, "NameOwnerChanged") != FALSE) {
        char const* name = nullptr;
        char const* before = nullptr;
        char const* after = nullptr;
        dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &before,
                              DBUS_TYPE_STRING, &after, DBUS_TYPE_INVALID);
        if (name != nullptr && name[0] != ':') {
            mNames.erase(orEmpty(before));
            if (after != nullptr && *after != '\0') {
                mNames[after] = name;
            }
        }
    }
    entry["kind"] = "signal";
    entry["member"] = orEmpty(dbus_message_get_member(message));
    entry["text"] = textOf(message);
    mBoard.append("bus", std::move(entry));
}

std::string BusWatch::nameOf(char const* unique) const {
    auto const known = mNames.find(orEmpty(unique));
    return known == mNames.end() ? orEmpty(unique) : known->second;
}

bool BusWatch::wait(int descriptor, int milliseconds) const {
    std::array<pollfd, 2> waited{{{descriptor, POLLIN, 0}, {mWake, POLLIN, 0}}};
    poll(waited.data(), waited.size(), milliseconds);
    return waited[1].revents == 0;
}
