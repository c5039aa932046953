#pragma once

/** Callbacks that read the records of AmbigTag.xml. There is never an object. */
class CParseAmbigTags {
public:
    /**
     * Appends a record for an "AmbigTag" element, wherever it stands; arguments as in ParseFSM.
     * @param ctx the CLinkedList<CAmbigTag> to fill
     * @throws CTagException* with ExConversion for a bad number; nothing is then appended
     */
    static void startElementNs(void* ctx, unsigned char const* localname,
                               unsigned char const* prefix, unsigned char const* URI,
                               int nb_namespaces, unsigned char const** namespaces,
                               int nb_attributes, int nb_defaulted,
                               unsigned char const** attributes);

    /** Does nothing. */
    static void endElementNs(void* ctx, unsigned char const* localname, unsigned char const* prefix,
                             unsigned char const* URI);
};
