#include "rig/Command.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace {

constexpr char BLANKS[] = " \t";

/** Takes the next word off the front of the text; quotes keep blanks together. */
std::string takeWord(std::string_view& text) {
    std::string word;
    bool quoted = false;
    std::size_t at = 0;
    for (; at < text.size() && (quoted || text[at] != ' ') && (quoted || text[at] != '\t'); ++at) {
        if (text[at] == '"') {
            quoted = !quoted;
        } else {
            word += text[at];
        }
    }
    text.remove_prefix(std::min(text.size(), text.find_first_not_of(BLANKS, at)));
    return word;
}

std::string joined(std::set<std::string> const& words, char const* ending, char const* none) {
    std::string text;
    for (auto const& word : words) {
        text += (text.empty() ? "" : ", ") + word + ending;
    }
    return text.empty() ? none : text;
}

} // namespace

Command::Command(std::string const& line) {
    std::string_view text(line);
    text.remove_prefix(std::min(text.size(), text.find_first_not_of(BLANKS)));
    if (text.empty() || text.front() == '#') {
        return;
    }
    mName = takeWord(text);
    mRest = text;
    while (!text.empty()) {
        addWord(takeWord(text));
    }
}

void Command::addWord(std::string const& word) {
    std::size_t const sign = word.find('=');
    if (sign == std::string::npos || word.front() == '/') {
        mWords.push_back(word);
    } else {
        mOptions[word.substr(0, sign)] = word.substr(sign + 1);
    }
}

std::string const& Command::word(std::size_t index, char const* meaning) const {
    if (index >= mWords.size()) {
        throw std::invalid_argument(mName + " needs " + meaning);
    }
    return mWords[index];
}

int Command::number(std::size_t index, char const* meaning) const {
    return toNumber(word(index, meaning));
}

bool Command::hasWord(std::string const& word) const {
    return std::find(mWords.begin(), mWords.end(), word) != mWords.end();
}

std::string Command::option(std::string const& key, std::string const& fallback) const {
    auto const found = mOptions.find(key);
    return found == mOptions.end() ? fallback : found->second;
}

void Command::allowOnly(std::size_t fixedWords, std::set<std::string> const& words,
                        std::set<std::string> const& keys) const {
    allowWords(fixedWords, words);
    allowOptions(keys);
}

void Command::allowWords(std::size_t fixedWords, std::set<std::string> const& words) const {
    for (std::size_t index = fixedWords; index < mWords.size(); ++index) {
        if (words.count(mWords[index]) == 0) {
            throw std::invalid_argument(mName + " does not know the word " + mWords[index]
                                        + "; behind its " + std::to_string(fixedWords)
                                        + (fixedWords == 1 ? " fixed word" : " fixed words")
                                        + " it takes " + joined(words, "", "nothing"));
        }
    }
}

void Command::allowOptions(std::set<std::string> const& keys) const {
    for (auto const& [key, value] : mOptions) {
        if (keys.count(key) == 0) {
            throw std::invalid_argument(mName + " does not know the option " + key + "; it takes "
                                        + joined(keys, "=", "none"));
        }
    }
}

int toNumber(std::string const& text) {
    int value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::invalid_argument("\"" + text + "\" is not a number");
    }
    return value;
}
