#include "bus/JsonTokens.h"

#include <cstddef>

JsonToken JsonTokens::next() {
    skipBlanks();
    std::size_t const start = mPosition;
    JsonToken::Kind const kind = readToken();
    return {kind, mText.substr(start, mPosition - start)};
}

JsonToken JsonTokens::nextButComments() {
    JsonToken token = next();
    while (token.kind == JsonToken::Comment) {
        token = next();
    }
    return token;
}

bool JsonTokens::nextIs(char character) {
    skipBlanks();
    return mPosition != mText.size() && mText[mPosition] == character;
}

JsonToken::Kind JsonTokens::readToken() {
    char const first = takeAny();
    switch (first) {
    case '\0':
        return JsonToken::End;
    case '{':
        return JsonToken::ObjectBegin;
    case '}':
        return JsonToken::ObjectEnd;
    case '[':
        return JsonToken::ArrayBegin;
    case ']':
        return JsonToken::ArrayEnd;
    case ',':
        return JsonToken::Comma;
    case ':':
        return JsonToken::Colon;
    case '"':
        return readString();
    case '/':
        return readComment();
    case 't':
        return readWord("rue", JsonToken::True);
    case 'f':
        return readWord("alse", JsonToken::False);
    case 'n':
        return readWord("ull", JsonToken::Null);
    default:
        return first == '-' || (first >= '0' && first <= '9') ? readNumber() : JsonToken::Bad;
    }
}

JsonToken::Kind JsonTokens::readWord(std::string_view rest, JsonToken::Kind kind) {
    if (mText.substr(mPosition, rest.size()) != rest) {
        return JsonToken::Bad;
    }
    mPosition += rest.size();
    return kind;
}

JsonToken::Kind JsonTokens::readString() {
    while (mPosition != mText.size()) {
        char const character = takeAny();
        if (character == '"') {
            return JsonToken::String;
        }
        if (character == '\\') {
            takeAny();
        }
    }
    return JsonToken::Bad;
}

JsonToken::Kind JsonTokens::readNumber() {
    skipDigits();
    if (take(".")) {
        skipDigits();
    }
    if (take("eE")) {
        take("+-");
        skipDigits();
    }
    return JsonToken::Number;
}

JsonToken::Kind JsonTokens::readComment() {
    switch (takeAny()) {
    case '*':
        return readBlockComment() ? JsonToken::Comment : JsonToken::Bad;
    case '/':
        readLineComment();
        return JsonToken::Comment;
    default:
        return JsonToken::Bad;
    }
}

bool JsonTokens::readBlockComment() {
    constexpr std::string_view END = "*/";
    std::size_t const end = mText.find(END, mPosition);
    bool const closed = end != std::string_view::npos;
    mPosition = closed ? end + END.size() : mText.size();
    return closed;
}

void JsonTokens::readLineComment() {
    std::size_t const end = mText.find_first_of("\r\n", mPosition);
    mPosition = end == std::string_view::npos ? mText.size() : end + 1;
}

void JsonTokens::skipBlanks() {
    while (take(" \t\r\n")) {
    }
}

void JsonTokens::skipDigits() {
    while (take("0123456789")) {
    }
}

bool JsonTokens::take(std::string_view characters) {
    bool const found =
        mPosition != mText.size() && characters.find(mText[mPosition]) != std::string_view::npos;
    if (found) {
        ++mPosition;
    }
    return found;
}

char JsonTokens::takeAny() {
    return mPosition == mText.size() ? '\0' : mText[mPosition++];
}
