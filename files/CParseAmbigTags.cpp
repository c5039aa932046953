#include "files/CParseAmbigTags.h"

#include "TagReader.h"

void CParseAmbigTags::startElementNs(void* ctx, unsigned char const* localname,
                                     unsigned char const* /*prefix*/, unsigned char const* /*URI*/,
                                     int /*nb_namespaces*/, unsigned char const** /*namespaces*/,
                                     int nb_attributes, int /*nb_defaulted*/,
                                     unsigned char const** attributes) {
    if (isElement(localname, "AmbigTag")) {
        appendTag(*static_cast<CLinkedList<CAmbigTag>*>(ctx),
                  SaxAttributes(attributes, nb_attributes));
    }
}

void CParseAmbigTags::endElementNs(void* /*ctx*/, unsigned char const* /*localname*/,
                                   unsigned char const* /*prefix*/, unsigned char const* /*URI*/) {}
