#include "OnBus.h"
#include "RawClient.h"

#include <limits>

using ::testing::HasSubstr;

class Call : public OnBus {};

TEST_F(Call, IsAnsweredWithTheTextByteForByte) {
    serve(echo);
    EXPECT_THAT(call("any", "{\"a\":\"\xC3\xBC\"}\n"), Succeeded("{\"a\":\"\xC3\xBC\"}\n"));
    EXPECT_THAT(call("any", ""), Succeeded(""));
}

TEST_F(Call, ArrivesWithItsMethodAndItsParameters) {
    serve(requestInto, &requests);
    invoke(results, "tagRequest", "{\"tags\":[]}");
    Request const request = requests.next();
    EXPECT_EQ(request.method, "tagRequest");
    EXPECT_EQ(request.parameters, "{\"tags\":[]}");
    EXPECT_FALSE(request.noReply);
    TELLBUS_returnResult(request.context, "{}");
    EXPECT_THAT(results.next(), Succeeded("{}"));
}

TEST_F(Call, WithoutParametersArrivesWithNull) {
    serve(requestInto, &requests);
    invoke(results, "clear", nullptr);
    EXPECT_EQ(requests.next().parameters, std::nullopt);
}

TEST_F(Call, CallsBackOnTheLibrarysThreadAndNeverOnTheCallers) {
    serve(requestInto, &requests);
    invoke(results, "any", "{}");
    Request const request = requests.next();
    TELLBUS_returnResult(request.context, "{}");
    Result const result = results.next();
    EXPECT_NE(request.thread, std::this_thread::get_id());
    EXPECT_EQ(result.thread, request.thread);
}

TEST_F(Call, MatchesAnswersThatComeInAnotherOrder) {
    Inbox<Result> first;
    Inbox<Result> second;
    serve(requestInto, &requests);
    invoke(first, "first", "{}");
    invoke(second, "second", "{}");
    Request const one = requests.next();
    Request const two = requests.next();
    TELLBUS_returnResult(two.context, "to the second");
    TELLBUS_returnResult(one.context, "to the first");
    EXPECT_THAT(first.next(), Succeeded("to the first"));
    EXPECT_THAT(second.next(), Succeeded("to the second"));
}

TEST_F(Call, GivesAFailureAndNullForAnErrorReply) {
    serve(requestInto, &requests);
    invoke(results, "any", "{}");
    EXPECT_EQ(TELLBUS_returnError(requests.next().context, "com.example.Error", "it does not work"),
              TELLBUS_OK);
    EXPECT_THAT(results.next(), Failed(TELLBUS_E_REMOTE));
}

TEST_F(Call, FailsForANameThatNobodyOwns) {
    EXPECT_THAT(call("any", "{}", 0, "com.example.Nobody"), Failed(TELLBUS_E_NO_SERVICE));
}

TEST_F(Call, FailsAfterItsTimeOutInMilliseconds) {
    serve(ignore);
    auto const before = std::chrono::steady_clock::now();
    EXPECT_THAT(call("any", "{}", 50), Failed(TELLBUS_E_TIMEOUT));
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
}

TEST_F(Call, TimesOutByItsOwnLimitWhateverOthersWaitFor) {
    Inbox<Result>& patient = results;
    Inbox<Result> hasty;
    serve(ignore);
    invoke(patient, "any", "{}", std::numeric_limits<unsigned int>::max());
    invoke(patient, "any", "{}", 60000);
    invoke(hasty, "any", "{}", 30);
    EXPECT_THAT(hasty.next(), Failed(TELLBUS_E_TIMEOUT));
    EXPECT_TRUE(patient.empty());
}

TEST_F(Call, GetsOneCallbackOnlyThoughTheAnswerComesAfterItsTimeOut) {
    serve(requestInto, &requests);
    invoke(results, "any", "{}", 20);
    EXPECT_THAT(results.next(), Failed(TELLBUS_E_TIMEOUT));
    TELLBUS_returnResult(requests.next().context, "late");
    settle(server);
    settle(client);
    EXPECT_EQ(results.arrived(), 1U);
}

TEST_F(Call, WithoutReplyArrivesAsSuchAndGetsNoReply) {
    serve(requestInto, &requests);
    RawClient raw(bus.address());
    RawMessage const message = RawClient::methodCall(NAME, PATH, NAME, "any");
    dbus_message_set_no_reply(message.get(), TRUE);
    raw.send(message);
    Request const request = requests.next();
    EXPECT_TRUE(request.noReply);
    EXPECT_EQ(TELLBUS_returnResult(request.context, "{}"), TELLBUS_NO_REPLY_WANTED);
    EXPECT_EQ(TELLBUS_returnError(request.context, "com.example.E", ""), TELLBUS_NO_REPLY_WANTED);
    settle(server);
    EXPECT_FALSE(raw.receives(DBUS_MESSAGE_TYPE_METHOD_RETURN));
}

TEST_F(Call, WithoutReplyNeedsNoCallbackAndNoToken) {
    serve(requestInto, &requests);
    EXPECT_EQ(
        TELLBUS_asyncInvoke(client, NAME, PATH, "any", "{}", true, 0, nullptr, nullptr, nullptr),
        TELLBUS_OK);
    EXPECT_TRUE(requests.next().noReply);
}

TEST_F(Call, SendsTheDestinationsNameAsInterface) {
    RawClient raw(bus.address());
    ASSERT_TRUE(raw.own("com.example.Raw"));
    TELLBUS_asyncInvoke(client, "com.example.Raw", "/any", "Ask", "{}", true, 0, nullptr, nullptr,
                        nullptr);
    RawMessage const message = raw.next(DBUS_MESSAGE_TYPE_METHOD_CALL);
    EXPECT_STREQ(dbus_message_get_interface(message.get()), "com.example.Raw");
    EXPECT_STREQ(dbus_message_get_member(message.get()), "Ask");
    EXPECT_STREQ(dbus_message_get_signature(message.get()), "s");
}

TEST_F(Call, TakesAReplyOfAnotherKindAsFailed) {
    // The bus itself answers with an array.
    EXPECT_THAT(call("ListNames", nullptr, 0, "org.freedesktop.DBus", "/org/freedesktop/DBus"),
                Failed(TELLBUS_E_REPLY));
}

TEST_F(Call, TakesAReplyWithoutArgumentAsEmptyText) {
    RawClient raw(bus.address());
    ASSERT_TRUE(raw.own("com.example.Raw"));
    invoke(results, "Ask", "{}", 0, "com.example.Raw", "/any");
    RawMessage const message = raw.next(DBUS_MESSAGE_TYPE_METHOD_CALL);
    raw.send(RawMessage(dbus_message_new_method_return(message.get())));
    EXPECT_THAT(results.next(), Succeeded(""));
}

TEST_F(Call, CarriesSixteenMebibytes) {
    serve(echo);
    std::string const large(std::size_t{16} * 1024 * 1024, 'x');
    Result const result = call("any", large.c_str());
    EXPECT_EQ(result.status, TELLBUS_OK);
    EXPECT_TRUE(result.text == large);
}

TEST_F(Call, WorksBetweenTwoPartsOfOneConnection) {
    serve(echo);
    void* token = nullptr;
    EXPECT_EQ(TELLBUS_asyncInvoke(server, NAME, PATH, "any", "own", false, 0, resultInto, &token,
                                  &results),
              TELLBUS_OK);
    EXPECT_THAT(results.next(), Succeeded("own"));
}

TEST_F(Call, CanBeMadeInACallback) {
    serve(echo);
    struct Chain {
        void* connection;
        Inbox<Result> results;
    } chain{client, {}};
    auto const again = [](TELLBUS_tCallbackStatus const*, char const*, void* cookie) {
        auto& link = *static_cast<Chain*>(cookie);
        TELLBUS_asyncInvoke(link.connection, NAME, PATH, "any", "second", false, 0, resultInto,
                            nullptr, &link.results);
    };
    TELLBUS_asyncInvoke(client, NAME, PATH, "any", "first", false, 0, again, nullptr, &chain);
    EXPECT_THAT(chain.results.next(), Succeeded("second"));
}

TEST_F(Call, ThatWaitsWhenItsConnectionClosesFailsOnce) {
    serve(ignore);
    invoke(results, "any", "{}");
    invoke(results, "any", "{}");
    EXPECT_EQ(TELLBUS_closeConnection(client), TELLBUS_OK);
    EXPECT_EQ(results.arrived(), 2U);
    EXPECT_THAT(results.next(), Failed(TELLBUS_E_CLOSED));
    EXPECT_THAT(results.next(), Failed(TELLBUS_E_CLOSED));
}

TEST_F(Call, ThatWaitsAtShutdownFailsBeforeShutdownReturns) {
    serve(ignore);
    invoke(results, "any", "{}");
    TELLBUS_shutdown();
    EXPECT_EQ(results.arrived(), 1U);
    EXPECT_THAT(results.next(), Failed(TELLBUS_E_CLOSED));
}

TEST_F(Call, AnsweredByItsServiceWithAnErrorOfTheBusHasNotFailedOnTheWay) {
    serve(requestInto, &requests);
    for (char const* const name : {DBUS_ERROR_TIMEOUT, DBUS_ERROR_NO_REPLY,
                                   DBUS_ERROR_SERVICE_UNKNOWN, DBUS_ERROR_ACCESS_DENIED}) {
        invoke(results, "any", "{}");
        EXPECT_EQ(TELLBUS_returnError(requests.next().context, name, "of its own"), TELLBUS_OK);
        EXPECT_THAT(results.next(), Failed(TELLBUS_E_REMOTE)) << name;
    }
}

TEST_F(Call, FailsWithoutReplyWhenTheServiceGoesAway) {
    serve(ignore);
    invoke(results, "any", "{}");
    settle(client);
    TELLBUS_closeConnection(server);
    EXPECT_THAT(results.next(), Failed(TELLBUS_E_NO_REPLY));
}

TEST_F(Call, OfAConnectionIsAnsweredByNoOther) {
    RawClient called(bus.address());
    RawClient forger(bus.address());
    std::string const name = called.name();
    invoke(results, "any", "{}", 0, name.c_str());
    RawMessage const call = called.next(DBUS_MESSAGE_TYPE_METHOD_CALL);
    testing::internal::CaptureStderr();
    for (RawClient* const sender : {&forger, &called}) {
        RawMessage reply(dbus_message_new_method_return(call.get()));
        RawClient::append(reply, sender == &called ? "real" : "forged");
        sender->send(reply);
        sender->call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetId");
    }
    EXPECT_THAT(results.next(), Succeeded("real"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("dropped a reply from somebody who was not called"));
}
