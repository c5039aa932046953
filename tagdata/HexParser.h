#pragma once

#include "service/stdTools.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CLinkedList.h"
#include "tagdata/CTag.h"

#include <string>

/**
 * Decoder of the radio's tag stream, given as text of hexadecimal pairs.
 *
 * The stream's form byte says which decoder fits: 0 is a single tag, anything else an ambiguous
 * one. Neither decoder looks at it. Runs on the thread that calls it.
 */
class CHexParser {
public:
    /** @param nowOffset shift of FormattedNow; only 0 has a meaning. The flag has no effect. */
    CHexParser(unsigned int nowOffset, bool flag);
    virtual ~CHexParser();

    /**
     * The elements between single blanks, as hexadecimal numbers. Never fails: what is no number
     * is 0, what is too large is 4294967295. The caller owns the list and its elements.
     */
    CLinkedList<unsigned int>* StringToList(std::string text) const;

    /**
     * The Latin-1 bytes of a range as UTF-8.
     * @param skipZeros leaves bytes of value 0 out
     * @throws CTagException* with ExBadIndex if the range leaves the list
     */
    std::string ExtractString(CLinkedList<unsigned int>* list, unsigned int start,
                              unsigned int length, bool skipZeros) const;

    /** The present time in UTC, such as 2010-03-01T17:05:09Z. */
    std::string FormattedNow() const;

    /**
     * Decodes a single tag, which the caller owns. The byte list stays as it is.
     * @throws CTagException* with ExBadIndex and "Malformed Tag Sequence", whatever went wrong
     */
    CTag* ParseSingle(CLinkedList<unsigned int>* list) const;

    /**
     * Decodes the two candidates of an ambiguous tag, the first in front. The caller owns the list
     * and the candidates; the byte list stays as it is.
     * @throws like ParseSingle
     */
    CLinkedList<CAmbigTag>* ParseAmbig(CLinkedList<unsigned int>* list) const;

private:
    [[maybe_unused]] unsigned int mNowOffset;
    stdTools mTools;
    [[maybe_unused]] bool mFlag;
};
