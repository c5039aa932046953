#include "radio/PressAnswer.h"

#include "bus/JsonText.h"

#include <gmock/gmock.h>

using testing::HasSubstr;

TEST(PressAnswer, HasTheFormOfAStatusWithANameOfItsOwn) {
    struct Case {
        std::string answer;
        char const* name;
        char const* message;
    };
    for (Case const& each :
         {Case{pressanswer::nothingPlaying(), "NOTHING_PLAYING", "Nothing is playing"},
          Case{pressanswer::noService(), "NO_SERVICE", "is not on the bus"},
          Case{pressanswer::refused(), "REFUSED", "policy"},
          Case{pressanswer::noAnswer(10), "NO_ANSWER", "within 10 s"},
          Case{pressanswer::serviceEnded(), "NO_ANSWER", "ended before it answered"},
          Case{pressanswer::tooMany(), "TOO_MANY", "Too many presses"}}) {
        Json::Value json;
        ASSERT_TRUE(parseJson(each.answer, json));
        EXPECT_EQ(json["Name"], each.name);
        EXPECT_EQ(json["Value"], 0);
        EXPECT_THAT(json["Message"].asString(), HasSubstr(each.message));
        EXPECT_EQ(each.answer.back(), '\n');
    }
}

TEST(PressAnswer, TheNameOfAnAnswerIsForPeople) {
    EXPECT_EQ(pressanswer::nameIn("{\"Name\":\"STORED_LOCAL\",\"Value\":5}\n"), "STORED_LOCAL");
    for (char const* const text : {"no json", "[1]", "{\"Name\":5}", "{}"}) {
        EXPECT_EQ(pressanswer::nameIn(text), text);
    }
}
