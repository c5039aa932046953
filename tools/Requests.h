#pragma once

#include <json/value.h>

#include <string>

/**
 * A JSON text as a value. @param what names the text in the complaint
 * @throws Failure if it is none, or no UTF-8, or holds what the bus cannot carry
 */
Json::Value parseJson(std::string const& text, std::string const& what);

/**
 * A text as a "tagRequest" that the service can read.
 *
 * A value of the wrong kind, or a number beyond 32 bits, ends the service without a reply: it is
 * found here and nothing is sent. @throws Failure that names the value and what was expected
 */
Json::Value parseTagRequest(std::string const& text, std::string const& what);

/** The same for a request that is a value already. */
void requireReadable(Json::Value const& request);

/** A short text of a value for a complaint. */
std::string shown(Json::Value const& value);
