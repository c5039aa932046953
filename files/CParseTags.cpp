#include "files/CParseTags.h"

#include "TagReader.h"

void CParseTags::startElementNs(void* ctx, unsigned char const* localname,
                                unsigned char const* /*prefix*/, unsigned char const* /*URI*/,
                                int /*nb_namespaces*/, unsigned char const** /*namespaces*/,
                                int nb_attributes, int /*nb_defaulted*/,
                                unsigned char const** attributes) {
    if (isElement(localname, "Tag")) {
        appendTag(*static_cast<CLinkedList<CTag>*>(ctx), SaxAttributes(attributes, nb_attributes));
    }
}

void CParseTags::endElementNs(void* /*ctx*/, unsigned char const* /*localname*/,
                              unsigned char const* /*prefix*/, unsigned char const* /*URI*/) {}
