#pragma once

#include "files/ParseFSM.h"

/** Takes the configuration's options from whatever elements carry them. */
class CParseConfig : public ParseFSM {
public:
    CParseConfig();
    virtual ~CParseConfig();

    /**
     * Stores the known attributes of a known element; arguments as in ParseFSM.
     * @param ctx the CConfigInfo to fill
     * @throws CTagException* with ExConversion for a "maxTagCount" that is no number
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
