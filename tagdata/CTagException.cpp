#include "tagdata/CTagException.h"

#include <memory>
#include <utility>

CTagException::CTagException() : CTagException(ExUnhandled, std::string(), -1) {}

CTagException::CTagException(ExceptionCodes code, std::string message, int systemError)
    : SystemError(systemError), mMessage(std::move(message)), mExCode(code) {}

CTagException::~CTagException() = default;

CTagException::ExceptionCodes CTagException::ExCode() const {
    return mExCode;
}
void CTagException::ExCode(ExceptionCodes code) {
    mExCode = code;
}

std::string CTagException::Message() const {
    return mMessage;
}
void CTagException::Message(std::string message) {
    mMessage = std::move(message);
}

void throwTagException(CTagException::ExceptionCodes code, std::string message, int systemError) {
    auto exception = std::make_unique<CTagException>(code, std::move(message), systemError);
    throw exception.release();
}

void dropException() {
    try {
        throw;
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const dropped(exception);
    } catch (...) {
        return;
    }
}
