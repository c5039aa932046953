#include "bus/CTellbusEventListener.h"

#include "BeforeParsing.h"
#include "BusTest.h"
#include "bus/CTellbusRequest.h"
#include "platform/posix/Processors.h"
#include "support/SleepingReceiver.h"

#include <memory>
#include <sched.h>

using channelHooks::Call;
using channelHooks::Failing;

namespace {

constexpr char SEND_ERROR[] = "CTellbusEventListener: MsgSendPulse error!\n";

/** What came out of the channel, with the event taken over. */
struct Received {
    int code;
    std::unique_ptr<CTellbusEvent> event;

    template <class Record>
    std::unique_ptr<Record> record() const {
        return std::unique_ptr<Record>(static_cast<Record*>(event->data));
    }
};

class CTellbusEventListenerTest : public testing::Test {
protected:
    CTellbusEventListenerTest()
        : mChannel(ChannelCreate(_NTO_CHF_FIXED_PRIORITY)),
          mConnection(ConnectAttach(0, 0, mChannel, _NTO_SIDE_CHANNEL, 0)) {}

    CTellbusEventCookie* newCookie(int code) {
        return new CTellbusEventCookie(&mListener, code, &mContext);
    }

    Received receive() const {
        _pulse pulse{};
        EXPECT_EQ(0, MsgReceivePulse(mChannel, &pulse, sizeof pulse, nullptr));
        return receivedWith(pulse);
    }

    static Received receivedWith(_pulse const& pulse) {
        return {pulse.code,
                std::unique_ptr<CTellbusEvent>(static_cast<CTellbusEvent*>(pulse.value.sival_ptr))};
    }

    /** The channel is in order, so an empty one is shown by a pulse of our own coming first. */
    bool nothingWasSent() const {
        MsgSendPulse(mConnection, sched_get_priority_min(SCHED_RR), CTellbusEvent::Stop, 0);
        return receive().code == CTellbusEvent::Stop;
    }

    FakeTellbus bus;
    int mChannel;
    int mConnection;
    CTellbusEventListener mListener{mConnection};
    int mContext = 0;
    TELLBUS_tCallbackStatus mStatus{0x40000123U};
};

} // namespace

TEST_F(CTellbusEventListenerTest, AResultIsCopiedAndPostedWithItsStatus) {
    std::string text = R"({"devices":[]})";
    CTellbusEventCookie* const cookie = newCookie(CTellbusEvent::Result);
    FakeTellbus::onLibraryThread(
        [&] { CTellbusEventListener::onTellbusResult(&mStatus, text.c_str(), cookie); });
    text.assign(text.size(), 'x');
    Received const received = receive();
    EXPECT_EQ(2, received.code);
    EXPECT_EQ(&mContext, received.event->context);
    auto const result = received.record<CTellbusResult>();
    EXPECT_STREQ(R"({"devices":[]})", result->text);
    EXPECT_EQ(0x40000123U, result->status);
}

TEST_F(CTellbusEventListenerTest, ANullResultBecomesTheEmptyText) {
    CTellbusEventListener::onTellbusResult(&mStatus, nullptr, newCookie(CTellbusEvent::Result));
    auto const result = receive().record<CTellbusResult>();
    ASSERT_NE(nullptr, result->text);
    EXPECT_STREQ("", result->text);
}

TEST_F(CTellbusEventListenerTest, AnEventSaysThatItsTextIsLong) {
    for (bool const isLong : {false, true}) {
        std::string const text(isLong ? std::size_t{1} << 20U : 1000, ' ');
        CTellbusEventListener::onTellbusResult(&mStatus, text.c_str(),
                                               newCookie(CTellbusEvent::Result));
        Received const result = receive();
        result.record<CTellbusResult>();
        EXPECT_EQ(isLong, result.event->longText);

        CTellbusEventCookie cookie(&mListener, CTellbusEvent::Signal, &mContext);
        CTellbusEventListener::onTellbusSignal("s", text.c_str(), &cookie);
        Received const signal = receive();
        signal.record<CTellbusSignal>();
        EXPECT_EQ(isLong, signal.event->longText);

        CTellbusEventListener::onTellbusRequest(nullptr, "m", text.c_str(), 0, &cookie);
        Received const request = receive();
        request.record<CTellbusRequest>();
        EXPECT_EQ(isLong, request.event->longText);
    }
}

TEST_F(CTellbusEventListenerTest, AResultFreesItsCookie) {
    CTellbusEventCookie* const cookie = newCookie(CTellbusEvent::Result);
    FreeWatch const watch(cookie);
    CTellbusEventListener::onTellbusResult(&mStatus, "{}", cookie);
    EXPECT_TRUE(watch.freed());
    receive().record<CTellbusResult>();
}

TEST_F(CTellbusEventListenerTest, AResultThatCannotBeSentFreesItsCookieAllTheSame) {
    CTellbusEventCookie* const cookie = newCookie(CTellbusEvent::Result);
    FreeWatch const watch(cookie);
    std::string const printed = stdoutOf([&] {
        Failing const failing(Call::MsgSendPulse);
        CTellbusEventListener::onTellbusResult(&mStatus, "{}", cookie);
    });
    EXPECT_EQ(SEND_ERROR, printed);
    EXPECT_TRUE(watch.freed());
    EXPECT_TRUE(nothingWasSent());
}

TEST_F(CTellbusEventListenerTest, ASignalIsCopiedAndItsCookieServesMany) {
    std::unique_ptr<CTellbusEventCookie> const cookie(newCookie(CTellbusEvent::Signal));
    FreeWatch const watch(cookie.get());
    std::string name = "deviceState";
    std::string data = R"({"available":true})";
    FakeTellbus::onLibraryThread([&] {
        CTellbusEventListener::onTellbusSignal(name.c_str(), data.c_str(), cookie.get());
        CTellbusEventListener::onTellbusSignal(name.c_str(), "", cookie.get());
    });
    name.assign(name.size(), 'x');
    data.assign(data.size(), 'x');
    Received const first = receive();
    EXPECT_EQ(3, first.code);
    EXPECT_EQ(&mContext, first.event->context);
    auto const signal = first.record<CTellbusSignal>();
    EXPECT_STREQ("deviceState", signal->name);
    EXPECT_STREQ(R"({"available":true})", signal->data);
    EXPECT_STREQ("", receive().record<CTellbusSignal>()->data);
    EXPECT_FALSE(watch.freed());
}

TEST_F(CTellbusEventListenerTest, ANameChangeIsCopiedAndItsCookieServesMany) {
    std::unique_ptr<CTellbusEventCookie> const cookie(newCookie(CTellbusEvent::NameChange));
    FreeWatch const watch(cookie.get());
    for (int i = 0; i < 2; ++i) {
        CTellbusEventListener::onTellbusNameOwnerChanged("a.b", ":1.1", "", cookie.get());
        Received const received = receive();
        EXPECT_EQ(5, received.code);
        EXPECT_EQ(&mContext, received.event->context);
        auto const change = received.record<CTellbusNameChange>();
        EXPECT_STREQ("a.b", change->name);
        EXPECT_STREQ(":1.1", change->oldOwner);
        EXPECT_STREQ("", change->newOwner);
    }
    EXPECT_FALSE(watch.freed());
}

TEST_F(CTellbusEventListenerTest, AStatusIsPostedAsANumberAndItsCookieStays) {
    std::unique_ptr<CTellbusEventCookie> const cookie(newCookie(CTellbusEvent::Status));
    FreeWatch const watch(cookie.get());
    CTellbusEventListener::onTellbusStatus(&mStatus, cookie.get());
    Received const received = receive();
    EXPECT_EQ(4, received.code);
    EXPECT_EQ(&mContext, received.event->context);
    EXPECT_EQ(0x40000123U, *received.record<unsigned int>());
    EXPECT_FALSE(watch.freed());
}

TEST_F(CTellbusEventListenerTest, ARequestIsParsedAndPostedAndItsCookieServesMany) {
    std::unique_ptr<CTellbusEventCookie> const cookie(newCookie(CTellbusEvent::Request));
    FreeWatch const watch(cookie.get());
    int context = 0;
    for (int noReply : {0, 1}) {
        FakeTellbus::onLibraryThread([&] {
            CTellbusEventListener::onTellbusRequest(&context, "checkTag", R"({"Name":"S"})",
                                                    noReply, cookie.get());
        });
        Received const received = receive();
        EXPECT_EQ(1, received.code);
        EXPECT_EQ(&mContext, received.event->context);
        auto const request = received.record<CTellbusRequest>();
        EXPECT_EQ(&context, request->context);
        EXPECT_EQ("checkTag", request->method);
        EXPECT_EQ("S", request->parameters["Name"].asString());
        EXPECT_EQ(noReply == 1, request->noReplyExpected);
        EXPECT_EQ(nullptr, request->userContext);
    }
    EXPECT_FALSE(watch.freed());
}

TEST_F(CTellbusEventListenerTest, ARequestThatDoesNotParseIsPostedAllTheSame) {
    std::unique_ptr<CTellbusEventCookie> const cookie(newCookie(CTellbusEvent::Request));
    std::string const deep(300000, '[');
    for (char const* text : {"{\"Name\"", deep.c_str()}) {
        CTellbusEventListener::onTellbusRequest(nullptr, "checkTag", text, 0, cookie.get());
        EXPECT_TRUE(receive().record<CTellbusRequest>()->parameters.isNull());
    }
}

TEST_F(CTellbusEventListenerTest, TheReceiverIsWokenBeforeTheParametersAreParsed) {
    if (usableProcessors() == 1) {
        GTEST_SKIP() << "one processor";
    }
    std::unique_ptr<CTellbusEventCookie> const cookie(newCookie(CTellbusEvent::Request));
    SleepingReceiver receiver(mChannel, mConnection);
    bool woken = false;
    BeforeParsing const looking([&] { woken = receiver.sleepsAgain(); });
    CTellbusEventListener::onTellbusRequest(nullptr, "checkTag", "{}", 0, cookie.get());
    EXPECT_TRUE(woken);
    receivedWith(receiver.pulse()).record<CTellbusRequest>();
}

TEST_F(CTellbusEventListenerTest, AnEventThatCannotBeSentIsLostWithOneLineAndNothingToTheBus) {
    std::unique_ptr<CTellbusEventCookie> const cookie(newCookie(CTellbusEvent::Request));
    FreeWatch const watch(cookie.get());
    CTellbusEventListener const nowhere = [] {
        static int unconnected = -1;
        return CTellbusEventListener(unconnected);
    }();
    cookie->listener = &nowhere;
    EXPECT_EQ(SEND_ERROR, stdoutOf([&] {
                  CTellbusEventListener::onTellbusRequest(nullptr, "m", "{}", 0, cookie.get());
              }));
    EXPECT_EQ(SEND_ERROR,
              stdoutOf([&] { CTellbusEventListener::onTellbusSignal("s", "{}", cookie.get()); }));
    EXPECT_EQ(SEND_ERROR,
              stdoutOf([&] { CTellbusEventListener::onTellbusStatus(&mStatus, cookie.get()); }));
    EXPECT_EQ(SEND_ERROR, stdoutOf([&] {
                  CTellbusEventListener::onTellbusNameOwnerChanged("n", "", "", cookie.get());
              }));
    EXPECT_FALSE(watch.freed());
    EXPECT_TRUE(bus.calls.empty());
}

TEST_F(CTellbusEventListenerTest, PulsesGoAtTheLowestPriorityOfRoundRobin) {
    CTellbusEvent const event;
    EXPECT_TRUE(mListener.sendEventPulse(&event, CTellbusEvent::Signal));
    EXPECT_EQ(sched_get_priority_min(SCHED_RR), channelHooks::newestPriority());
    EXPECT_EQ(&event, receive().event.release());
}

TEST_F(CTellbusEventListenerTest, TheConnectionIsReadAtTheTimeOfEachSend) {
    int const attached = mConnection;
    CTellbusEvent const event;
    mConnection = -1;
    EXPECT_EQ(SEND_ERROR, stdoutOf([&] {
                  EXPECT_FALSE(mListener.sendEventPulse(&event, CTellbusEvent::Signal));
              }));
    mConnection = attached;
    EXPECT_TRUE(mListener.sendEventPulse(&event, CTellbusEvent::Signal));
    EXPECT_EQ(&event, receive().event.release());
}
