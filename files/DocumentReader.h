#pragma once

#include "tagdata/CAmbigTag.h"
#include "tagdata/CLinkedList.h"
#include "tagdata/CTagIdMgr.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class CConfigInfo;

// The service's files as somebody reads them who only looks: the same callbacks take the same
// things from them, and what is wrong is told with its place instead of being logged. Nothing is
// opened, written or printed here. One at a time, as with every load: see SaxRun.

/** Where a document could not be read on, counted from 1, and why. */
struct DocumentFault {
    int line;
    int column;
    std::string what;
};

/** The bytes of one element in its document: from its "<" to behind its last ">". */
struct ElementPlace {
    std::size_t begin;
    std::size_t end;
};

/** The records of a tag file, as far as it could be read, and where each one stands. */
template <class Tag>
struct TagDocument {
    ListOwner<Tag> tags = makeList<Tag>();
    std::vector<ElementPlace> places;
    std::optional<DocumentFault> fault;
};

TagDocument<CTag> readTagDocument(std::string const& text);
TagDocument<CAmbigTag> readAmbigTagDocument(std::string const& text);

/** The configuration, as far as it could be read. */
struct ConfigDocument {
    ConfigDocument();
    ~ConfigDocument();
    ConfigDocument(ConfigDocument&&) noexcept;
    ConfigDocument& operator=(ConfigDocument&&) noexcept;

    std::unique_ptr<CConfigInfo> config;
    std::optional<DocumentFault> fault;
};

ConfigDocument readConfigDocument(std::string const& text);

/** The record of what went to which device, as far as it could be read. */
struct TagIdDocument {
    std::unique_ptr<CTagIdManager> registry = std::make_unique<CTagIdManager>();
    std::optional<DocumentFault> fault;
};

TagIdDocument readTagIdDocument(std::string const& text);
