#include "rig/PropertyList.h"

#include <limits>
#include <memory>

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace {

struct FreeDocument {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
struct FreeContext {
    void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;
using Context = std::unique_ptr<xmlParserCtxt, FreeContext>;

constexpr int QUIET_AND_OFFLINE =
    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE;

bool isNamed(xmlNode const* node, char const* name) {
    return node != nullptr && xmlStrEqual(node->name, reinterpret_cast<xmlChar const*>(name)) != 0;
}

std::string lastFault(xmlParserCtxt* context) {
    xmlError const* const error = xmlCtxtGetLastError(context);
    if (error == nullptr || error->message == nullptr) {
        return "not well-formed";
    }
    std::string text = "line " + std::to_string(error->line) + ": " + error->message;
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

char const* faultOfShape(xmlDoc* document) {
    xmlNode* const root = xmlDocGetRootElement(document);
    if (!isNamed(root, "plist")) {
        return "the root is not a plist";
    }
    return isNamed(xmlFirstElementChild(root), "dict") ? "" : "the plist holds no dict";
}

} // namespace

bool isPropertyList(std::string const& text, std::string& fault) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        fault = "too long";
        return false;
    }
    Context const context(xmlNewParserCtxt());
    Document const document(xmlCtxtReadMemory(context.get(), text.data(),
                                              static_cast<int>(text.size()), nullptr, nullptr,
                                              QUIET_AND_OFFLINE));
    fault = document ? faultOfShape(document.get()) : lastFault(context.get());
    return fault.empty();
}
