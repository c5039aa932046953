#pragma once

#include <libxml/parser.h>
#include <string>

class SaxRun;

/**
 * Has libxml2 parse a file or a text with a table of callbacks, and gives the run its parser.
 *
 * Entities in attribute values arrive resolved. No other file is opened, and no address: a path is
 * the name of a file and nothing else.
 * @return 0 for a well-formed document; not to be looked at once a callback has stopped the parser
 */
int enterWithFile(SaxRun& run, xmlSAXHandler& handler, std::string const& path);
int enterWithText(SaxRun& run, xmlSAXHandler& handler, std::string const& text);
