#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

/**
 * One line of input taken apart: a name, words, key=value pairs and the line's own text.
 *
 * Blanks separate; a word with blanks in it stands in double quotes. Empty lines and lines that
 * start with "#" have an empty name.
 */
class Command {
public:
    explicit Command(std::string const& line);

    std::string const& name() const { return mName; }

    /** Everything behind the name as it stands, for JSON text. */
    std::string const& rest() const { return mRest; }

    std::size_t wordCount() const { return mWords.size(); }

    /** The word at the index. @throws std::invalid_argument naming what is missing */
    std::string const& word(std::size_t index, char const* meaning) const;

    /** The same as a whole number. */
    int number(std::size_t index, char const* meaning) const;

    bool hasWord(std::string const& word) const;

    /** The value of key=value, or the fallback. */
    std::string option(std::string const& key, std::string const& fallback) const;

    /**
     * Lets nothing pass but so many words of any text, then these words, and options with these
     * keys. @throws std::invalid_argument naming what is neither, and what may stand there
     */
    void allowOnly(std::size_t fixedWords, std::set<std::string> const& words = {},
                   std::set<std::string> const& keys = {}) const;

    std::map<std::string, std::string> const& options() const { return mOptions; }

private:
    void addWord(std::string const& word);
    void allowWords(std::size_t fixedWords, std::set<std::string> const& words) const;
    void allowOptions(std::set<std::string> const& keys) const;

    std::string mName;
    std::string mRest;
    std::vector<std::string> mWords;
    std::map<std::string, std::string> mOptions;
};

/** The whole text as a number. @throws std::invalid_argument otherwise */
int toNumber(std::string const& text);
