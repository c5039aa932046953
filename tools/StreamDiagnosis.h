#pragma once

#include "tagdata/CLinkedList.h"

#include <string>

/**
 * The bytes of a tag stream, from hexadecimal pairs with any white space, or none, around them.
 * @throws Failure if the text holds anything but pairs, or none at all
 */
ListOwner<unsigned int> readStream(std::string const& text);

/** Whether the stream holds two candidates and not a single tag. Must not be empty. */
bool isAmbiguous(CLinkedList<unsigned int> const& stream);

/** Why a stream that the decoder refuses is malformed: where it breaks, and what to do. */
std::string explainMalformed(CLinkedList<unsigned int>& stream);
