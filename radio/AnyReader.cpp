#include "radio/AnyReader.h"

AnyReader::AnyReader(Programme& programme)
    : InputReader(programme), mLog(programme), mJson(programme), mHex(programme) {}

bool AnyReader::readLine(std::string_view text) {
    LogLine const line(text);
    bool const isJson = JsonReader::isObject(line.message);
    if (!isJson && !HexReader::isStream(line.message)) {
        return mLog.readLine(text);
    }
    mLog.endEvent();
    return isJson ? mJson.readLine(text) : mHex.readLine(text);
}
