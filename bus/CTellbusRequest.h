#pragma once

#include "bus/ArrivalBounds.h"

#include <json/value.h>
#include <string>

/**
 * One incoming method call.
 *
 * A handler answers it once, with returnReply or returnError, and lets go of the library's request
 * context, by `release` or freeRequestContext(). The destructor does not: a copy shares the
 * context.
 */
class CTellbusRequest {
public:
    /** The error name of every error reply of the service. */
    static constexpr char ERRORNAME[] = "com.veldan.service.Error";

    /**
     * Parses the parameters, or keeps their text for parse() while arrivals are bounded, since
     * what is parsed takes many times the room. Runs on the bus library's thread and throws nothing
     * for any text.
     * @param requestContext the library's context of the call
     * @param methodName null is taken as empty
     * @param parameterText JSON; null is taken as "{}"
     * @param withoutReply not zero if the caller wants no reply
     */
    CTellbusRequest(void* requestContext, char const* methodName, char const* parameterText,
                    int withoutReply, void* contextOfUser);
    /** The copy shares the context of the call. */
    CTellbusRequest(CTellbusRequest const&) = default;
    CTellbusRequest& operator=(CTellbusRequest const&) = default;

    /** Parses the parameters where the constructor has not. */
    void parse();

    /**
     * Sends the reply.
     * @param release whether the context is freed as well, whatever comes of the sending
     * @return the library's status of the sending
     */
    unsigned int returnReply(std::string const& jsonResult, bool const& release);
    /** Sends an error reply named ERRORNAME; otherwise like returnReply. */
    unsigned int returnError(std::string const& message, bool const& release);
    /** Frees the context and forgets it; does nothing the second time. */
    void freeRequestContext();

    /** The library's, null once freed. */
    void* context;
    std::string method;
    /** Null if the parameters were no JSON. */
    Json::Value parameters;
    /** The text of the parameters until parse(); empty if the constructor has parsed it. */
    std::string text;
    bool noReplyExpected;
    void* userContext;
    /** The room that the call takes while it waits. */
    ArrivalBounds::Place place;
};
