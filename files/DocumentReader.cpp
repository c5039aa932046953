// A text goes in, records come out, and beside them the place of each and of the first fault.
//
// The parser calls the same handlers that the service reads its files with, each behind one that
// first notes where the parser stands: what is told here is therefore what the service will see,
// and not the opinion of a second reader. A Reading holds the notes of one parse and lives as long
// as it; the records belong to the document that the caller gets. What the parser complains of
// goes to the Reading too, since its own way would print it.
#include "files/DocumentReader.h"

#include "SaxAttributes.h"
#include "SaxParser.h"
#include "files/CConfigInfo.h"
#include "files/CParseAmbigTags.h"
#include "files/CParseConfig.h"
#include "files/CParseTagId.h"
#include "files/CParseTags.h"
#include "tagdata/CTagException.h"

#include <libxml/SAX2.h>

#include <limits>
#include <string_view>

namespace {

std::size_t bytesRead() {
    return static_cast<std::size_t>(xmlByteConsumed(SaxRun::current().parser()));
}

constexpr std::size_t NO_RECORD = std::numeric_limits<std::size_t>::max();

/** One reading: what the callbacks fill, and what is noticed on the way. */
struct Reading {
    void* target;                     ///< what the handler's callbacks know as their user data
    std::string_view record;          ///< the local name of the elements whose places matter
    std::vector<ElementPlace> places; ///< theirs; begin is a place inside the opening tag so far
    std::vector<std::size_t> open;    ///< for each open element its index there, or NO_RECORD
    std::optional<DocumentFault> fault;

    void begin(bool isRecord) {
        open.push_back(isRecord ? places.size() : NO_RECORD);
        if (isRecord) {
            places.push_back({bytesRead(), 0});
        }
    }

    void end() {
        if (open.back() != NO_RECORD) {
            places[open.back()].end = bytesRead();
        }
        open.pop_back();
    }

    void keepFault(DocumentFault found) {
        if (!fault) {
            fault = std::move(found);
        }
    }
};

std::string withoutLineFeed(char const* message) {
    std::string text = message == nullptr ? "" : message;
    text.erase(text.find_last_not_of(" \n") + 1);
    return text;
}

/** While it lives, the parser's complaints come to a reading and are printed nowhere. */
class Complaints {
public:
    explicit Complaints(Reading& reading)
        : mFunctionBefore(xmlStructuredError), mContextBefore(xmlStructuredErrorContext) {
        // Generic, as the library has made its argument a pointer to const meanwhile.
        xmlSetStructuredErrorFunc(&reading, [](void* context, auto error) {
            if (error->level >= XML_ERR_ERROR) {
                static_cast<Reading*>(context)->keepFault(
                    {error->line, error->int2, withoutLineFeed(error->message)});
            }
        });
    }
    ~Complaints() { xmlSetStructuredErrorFunc(mContextBefore, mFunctionBefore); }
    Complaints(Complaints const&) = delete;
    Complaints& operator=(Complaints const&) = delete;

private:
    xmlStructuredErrorFunc mFunctionBefore;
    void* mContextBefore;
};

DocumentFault faultHere(std::string const& what) {
    xmlParserCtxt* const parser = SaxRun::current().parser();
    return {xmlSAX2GetLineNumber(parser), xmlSAX2GetColumnNumber(parser), what};
}

/** A handler's callbacks, with a note of where each element stands and where one was refused. */
template <class Handler>
struct Noting {
    static void startElementNs(void* context, unsigned char const* localname,
                               unsigned char const* prefix, unsigned char const* URI,
                               int nb_namespaces, unsigned char const** namespaces,
                               int nb_attributes, int nb_defaulted,
                               unsigned char const** attributes) {
        auto& reading = *static_cast<Reading*>(context);
        reading.begin(isElement(localname, reading.record));
        try {
            Handler::startElementNs(reading.target, localname, prefix, URI, nb_namespaces,
                                    namespaces, nb_attributes, nb_defaulted, attributes);
        } catch (CTagException* exception) {
            reading.keepFault(faultHere(exception->Message()));
            throw;
        }
    }

    static void endElementNs(void* context, unsigned char const* /*localname*/,
                             unsigned char const* /*prefix*/, unsigned char const* /*URI*/) {
        static_cast<Reading*>(context)->end();
    }

    static void characters(void* context, unsigned char const* text, int length) {
        CParseTagId::onCharacters(static_cast<Reading*>(context)->target, text, length);
    }
};

/** What a parse throws has been noted when it was thrown. */
int parseQuietly(xmlSAXHandler& handler, Reading& reading, std::string const& text) {
    try {
        return parseMemory(handler, &reading, text);
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const dropped(exception);
        return 0;
    }
}

template <class Handler>
Reading read(void* target, std::string const& text, std::string_view record = {},
             bool withCharacters = false) {
    Reading reading{target, record, {}, {}, {}};
    if (text.empty() || text.size() > std::numeric_limits<int>::max()) {
        reading.keepFault({1, 1, text.empty() ? "the file is empty" : "the file is too long"});
        return reading;
    }
    xmlSAXHandler handler = handlerFor<Noting<Handler>>();
    if (withCharacters) {
        handler.characters = fenced<&Noting<Handler>::characters>;
    }
    Complaints const complaints(reading);
    if (parseQuietly(handler, reading, text) != 0) {
        reading.keepFault({1, 1, "the file is no XML"});
    }
    return reading;
}

template <class Handler, class Tag>
TagDocument<Tag> readTags(std::string const& text, std::string_view record) {
    TagDocument<Tag> document;
    Reading reading = read<Handler>(document.tags.get(), text, record);
    document.fault = std::move(reading.fault);
    document.places = std::move(reading.places);
    for (ElementPlace& place : document.places) {
        // No value of an attribute can hold that character.
        place.begin = text.rfind('<', place.begin);
    }
    return document;
}

} // namespace

TagDocument<CTag> readTagDocument(std::string const& text) {
    return readTags<CParseTags, CTag>(text, "Tag");
}

TagDocument<CAmbigTag> readAmbigTagDocument(std::string const& text) {
    return readTags<CParseAmbigTags, CAmbigTag>(text, "AmbigTag");
}

ConfigDocument::ConfigDocument() = default;
ConfigDocument::~ConfigDocument() = default;
ConfigDocument::ConfigDocument(ConfigDocument&&) noexcept = default;
ConfigDocument& ConfigDocument::operator=(ConfigDocument&&) noexcept = default;

ConfigDocument readConfigDocument(std::string const& text) {
    ConfigDocument document;
    document.config = std::make_unique<CConfigInfo>(false);
    document.fault = read<CParseConfig>(document.config.get(), text).fault;
    return document;
}

TagIdDocument readTagIdDocument(std::string const& text) {
    constexpr bool WITH_CHARACTERS = true;
    TagIdDocument document;
    document.fault = read<CParseTagId>(document.registry.get(), text, {}, WITH_CHARACTERS).fault;
    return document;
}
