#include "rig/page/TagFiles.h"

#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace {

constexpr int QUIET_AND_OFFLINE =
    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE;

struct FreeDocument {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

struct FreeText {
    void operator()(xmlChar* text) const { xmlFree(text); }
};
using Text = std::unique_ptr<xmlChar, FreeText>;

char const* chars(xmlChar const* text) {
    return text == nullptr ? "" : reinterpret_cast<char const*>(text);
}

bool isNamed(xmlNode const* node, char const* name) {
    return std::strcmp(chars(node->name), name) == 0;
}

Document load(std::string const& path) {
    return Document(xmlReadFile(path.c_str(), nullptr, QUIET_AND_OFFLINE));
}

using Visit = std::function<void(xmlNode*)>;

/** Every element of that name, however deep: the service reads by names alone, too. */
void visit(xmlNode* node, char const* name, Visit const& found) {
    for (; node != nullptr; node = xmlNextElementSibling(node)) {
        if (isNamed(node, name)) {
            found(node);
        }
        visit(xmlFirstElementChild(node), name, found);
    }
}

Json::Value attributesOf(xmlNode* node) {
    Json::Value fields = Json::objectValue;
    for (xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
        Text const value(xmlNodeListGetString(node->doc, attribute->children, 1));
        fields[chars(attribute->name)] = chars(value.get());
    }
    return fields;
}

bool appendTags(std::string const& path, char const* kind, Json::Value& list) {
    if (!std::filesystem::exists(path)) {
        return true;
    }
    auto const document = load(path);
    if (!document) {
        return false;
    }
    visit(xmlDocGetRootElement(document.get()), kind, [&](xmlNode* node) {
        Json::Value tag = attributesOf(node);
        tag["kind"] = kind;
        list.append(std::move(tag));
    });
    return true;
}

} // namespace

std::string TagFiles::storageIn(std::string const& configuration) {
    std::string folder;
    if (auto const document = load(configuration)) {
        visit(xmlDocGetRootElement(document.get()), "localStorage",
              [&](xmlNode* node) { folder = attributesOf(node)["folder"].asString(); });
    }
    if (folder.empty()) {
        return "./";
    }
    return folder.back() == '/' ? folder : folder + "/";
}

Json::Value TagFiles::waiting(std::string const& folder) {
    Json::Value list = Json::arrayValue;
    bool const whole = appendTags(folder + "Tags.xml", "Tag", list)
                       && appendTags(folder + "AmbigTag.xml", "AmbigTag", list);
    return whole ? list : Json::Value();
}

Json::Value TagFiles::record(std::string const& folder) {
    std::string const path = folder + "TaggedInfo.xml";
    Json::Value list = Json::arrayValue;
    if (!std::filesystem::exists(path)) {
        return list;
    }
    auto const document = load(path);
    if (!document) {
        return {};
    }
    visit(xmlDocGetRootElement(document.get()), "TagId", [&](xmlNode* node) {
        Json::Value entry = attributesOf(node);
        entry["devices"] = Json::arrayValue;
        visit(xmlFirstElementChild(node), "DeviceId", [&](xmlNode* device) {
            Text const text(xmlNodeGetContent(device));
            entry["devices"].append(chars(text.get()));
        });
        list.append(std::move(entry));
    });
    return list;
}
