#include "tools/Arguments.h"

#include "tools/Failures.h"

#include <charconv>

namespace {

constexpr char END_OF_OPTIONS[] = "--";
constexpr char STANDARD_INPUT[] = "-";

bool isOption(std::string const& word) {
    return word.size() > 1 && word.front() == '-' && word != STANDARD_INPUT;
}

/** An option as it was written: "--device=7" has its value with it. */
struct WrittenOption {
    explicit WrittenOption(std::string const& word)
        : name(word.substr(0, word.find('='))), hasValue(word.find('=') != std::string::npos),
          value(hasValue ? word.substr(name.size() + 1) : std::string()) {}

    std::string name;
    bool hasValue;
    std::string value;
};

} // namespace

Arguments::Arguments(std::vector<std::string> const& words, OptionKinds const& kinds) {
    bool optionsEnded = false;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (optionsEnded || !isOption(*word)) {
            mOperands.push_back(*word);
            continue;
        }
        if (*word == END_OF_OPTIONS) {
            optionsEnded = true;
            continue;
        }
        WrittenOption option(*word);
        auto const kind = kinds.find(option.name);
        if (kind == kinds.end()) {
            throw UsageError("unknown option " + option.name);
        }
        if (kind->second == OptionKind::Flag && option.hasValue) {
            throw UsageError(option.name + " takes no value");
        }
        if (kind->second == OptionKind::Value && !option.hasValue) {
            if (++word == words.end()) {
                throw UsageError(option.name + " needs a value");
            }
            option.value = *word;
        }
        mOptions[option.name] = option.value;
    }
}

std::optional<std::string> Arguments::value(std::string const& option) const {
    auto const found = mOptions.find(option);
    return found == mOptions.end() ? std::nullopt : std::make_optional(found->second);
}

std::optional<int> Arguments::number(std::string const& option) const {
    std::optional<std::string> const text = value(option);
    if (!text) {
        return std::nullopt;
    }
    int number = 0;
    char const* const end = text->data() + text->size();
    auto const result = std::from_chars(text->data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) {
        throw UsageError(option + " needs a whole number of 32 bits, not \"" + *text + "\"");
    }
    return number;
}

void Arguments::takeAtMost(std::size_t operandCount) const {
    if (mOperands.size() > operandCount) {
        throw UsageError("\"" + mOperands[operandCount] + "\" is one argument too many");
    }
}
