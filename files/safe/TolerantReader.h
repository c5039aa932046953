#pragma once

#include <functional>
#include <map>
#include <string>

/** What a reader meets, in the order of the file. Must not throw. */
struct XmlEvents {
    std::function<void(std::string const& element, std::map<std::string, std::string> attributes)>
        start;
    std::function<void(std::string const& element)> end;
    std::function<void(std::string const& text)> characters;
};

enum class XmlRead {
    Whole,   ///< a well-formed document
    Damaged, ///< everything up to the first damage was told
    Failed,  ///< the system could not read it; errno tells why
};

/**
 * Reads a document from a descriptor piece by piece, whatever its size, and stops at the first
 * place that is not well-formed. Says nothing anywhere. Entities of a document's own stay
 * undeclared, and no other file is ever opened.
 */
XmlRead readTolerantly(int fd, XmlEvents const& events);
