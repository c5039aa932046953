#pragma once

#include <string_view>

/** One piece of a JSON text. */
struct JsonToken {
    enum Kind {
        End, ///< the text is over
        ObjectBegin,
        ObjectEnd,
        ArrayBegin,
        ArrayEnd,
        String, ///< the quotes and what is between them, escapes unread
        Number, ///< a sign, digits, a point or an exponent, in an order that need be no number
        True,
        False,
        Null,
        Comma,
        Colon,
        Comment,
        Bad, ///< no token
    };

    Kind kind;
    std::string_view text;
};

/** Cuts a JSON text into its tokens. The text outlives them. */
class JsonTokens {
public:
    explicit JsonTokens(std::string_view text) : mText(text) {}

    JsonToken next();
    JsonToken nextButComments();
    /** Whether this character stands next, blanks aside. */
    bool nextIs(char character);

private:
    JsonToken::Kind readToken();
    JsonToken::Kind readWord(std::string_view rest, JsonToken::Kind kind);
    JsonToken::Kind readString();
    JsonToken::Kind readNumber();
    JsonToken::Kind readComment();
    bool readBlockComment();
    void readLineComment();
    void skipBlanks();
    void skipDigits();
    /** Takes the next character if it is one of these. */
    bool take(std::string_view characters);
    /** The next character, '\0' behind the text. */
    char takeAny();

    std::string_view mText;
    std::size_t mPosition = 0;
};
