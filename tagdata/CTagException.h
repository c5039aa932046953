#pragma once

#include <string>

/**
 * The one exception type of the program's own layers.
 *
 * It travels as a pointer: the thrower makes it with new, the catcher that ends its journey deletes
 * it. Throw it with throwTagException(), and take it into a std::unique_ptr on the first line of
 * the handler.
 */
class CTagException {
public:
    /** What kind of failure it is. The numbers reach the log; 0 and 6 stay unused. */
    enum ExceptionCodes : int {
        ExUnhandled = 1,  ///< a failure nobody foresaw
        ExXmlFile = 2,    ///< an XML file or the XML library itself
        ExConversion = 3, ///< text that is no number
        ExEmptyList = 4,  ///< removal from an empty list
        ExBadIndex = 5,   ///< an index outside a list, a malformed tag stream
        ExIpodWrite = 7,  ///< the tag text did not reach the iPod
    };

    /** Code ExUnhandled, empty message, no system error. */
    CTagException();
    CTagException(ExceptionCodes code, std::string message, int systemError);
    virtual ~CTagException();

    ExceptionCodes ExCode() const;
    void ExCode(ExceptionCodes code);

    std::string Message() const;
    void Message(std::string message);

    /** The errno value that belongs to the failure, -1 if there is none. */
    int SystemError;

private:
    std::string mMessage;
    ExceptionCodes mExCode;
};

/** Makes a CTagException and throws the pointer. */
[[noreturn]] void throwTagException(CTagException::ExceptionCodes code, std::string message,
                                    int systemError = -1);

/** In a handler: ends the journey of the exception that is being handled, whatever it is. */
void dropException();
