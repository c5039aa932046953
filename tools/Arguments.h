#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

/** Whether an option stands alone or takes the word behind it (or behind its "="). */
enum class OptionKind { Flag, Value };

using OptionKinds = std::map<std::string, OptionKind>;

/** The words behind a command, sorted into options and operands. */
class Arguments {
public:
    /** @throws UsageError for an option that is not among the kinds, or without its value */
    Arguments(std::vector<std::string> const& words, OptionKinds const& kinds);

    bool has(std::string const& option) const { return mOptions.count(option) != 0; }
    std::optional<std::string> value(std::string const& option) const;

    /** The option's value as a whole number of 32 bits. @throws UsageError if it is none */
    std::optional<int> number(std::string const& option) const;

    std::vector<std::string> const& operands() const { return mOperands; }

    /** @throws UsageError if there are more operands */
    void takeAtMost(std::size_t operandCount) const;

private:
    std::map<std::string, std::string> mOptions;
    std::vector<std::string> mOperands;
};
