#include "bus/CTellbusRequest.h"

#include "bus/JsonText.h"
#include "tellbus/tellbus.h"

CTellbusRequest::CTellbusRequest(void* requestContext, char const* methodName,
                                 char const* parameterText, int withoutReply, void* contextOfUser)
    : context(requestContext), method(methodName == nullptr ? "" : methodName),
      noReplyExpected(withoutReply != 0), userContext(contextOfUser) {
    char const* const given = parameterText == nullptr ? "{}" : parameterText;
    if (ArrivalBounds::isSet()) {
        text = given;
    } else {
        // A request with broken parameters still reaches its handler, which decides what that
        // means.
        parseJson(given, parameters);
    }
}

void CTellbusRequest::parse() {
    if (!text.empty()) {
        parseJson(text, parameters);
        text.clear();
    }
}

unsigned int CTellbusRequest::returnReply(std::string const& jsonResult, bool const& release) {
    TELLBUS_tStatus const status = TELLBUS_returnResult(context, jsonResult.c_str());
    if (release) {
        freeRequestContext();
    }
    return status;
}

unsigned int CTellbusRequest::returnError(std::string const& message, bool const& release) {
    TELLBUS_tStatus const status = TELLBUS_returnError(context, ERRORNAME, message.c_str());
    if (release) {
        freeRequestContext();
    }
    return status;
}

void CTellbusRequest::freeRequestContext() {
    if (context != nullptr) {
        TELLBUS_freeReqContext(context);
        context = nullptr;
    }
}
