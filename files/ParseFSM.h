#pragma once

/**
 * Callbacks of libxml2's SAX2 interface that report what the parser sees, and the base of the
 * callbacks that take something from it.
 *
 * There is never an object: every callback works on its arguments alone, so nothing depends on
 * nesting or order. Callbacks may throw; the load that installs them keeps that from crossing
 * the parser's frames.
 */
class ParseFSM {
public:
    /**
     * Logs the element's name and attributes and prints its namespaces on standard output.
     * @param namespaces nb_namespaces pairs of prefix and URI
     * @param attributes nb_attributes tuples of local name, prefix, URI, value start, value end
     */
    static void startElementNs(void* ctx, unsigned char const* localname,
                               unsigned char const* prefix, unsigned char const* URI,
                               int nb_namespaces, unsigned char const** namespaces,
                               int nb_attributes, int nb_defaulted,
                               unsigned char const** attributes);

    /** Logs the element's name. */
    static void endElementNs(void* ctx, unsigned char const* localname, unsigned char const* prefix,
                             unsigned char const* URI);

    /** Prints the parser's message on standard output; the log only gets the line "in error". */
    static void error(void* ctx, char const* msg, ...);

    /** Like error, with the line "in warning". */
    static void warning(void* ctx, char const* msg, ...);
};
