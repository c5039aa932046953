#include "BeforeParsing.h"

#include <json/value.h>
#include <string_view>
#include <utility>

namespace {

std::function<void()> before;

} // namespace

BeforeParsing::BeforeParsing(std::function<void()> happens) {
    before = std::move(happens);
}
BeforeParsing::~BeforeParsing() {
    before = nullptr;
}

extern "C" {

bool __real__Z9parseJsonSt17basic_string_viewIcSt11char_traitsIcEERN4Json5ValueE(
    std::string_view text, Json::Value& value);

bool __wrap__Z9parseJsonSt17basic_string_viewIcSt11char_traitsIcEERN4Json5ValueE(
    std::string_view text, Json::Value& value) {
    if (before) {
        before();
    }
    return __real__Z9parseJsonSt17basic_string_viewIcSt11char_traitsIcEERN4Json5ValueE(text, value);
}
}
