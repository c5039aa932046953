// Why the decoder refuses a stream. The decoder itself has one answer for all that is wrong, so the
// stream is walked again here: over the places that TagStream computes from the lengths, in the
// order of the fields, up to the first that ends behind the stream or holds no number. It judges
// with the decoder's own operations, and so never finds a fault where the decoder found none.
#include "tools/StreamDiagnosis.h"

#include "tagdata/HexParser.h"
#include "tagdata/TagFields.h"
#include "tagdata/TagStream.h"
#include "tools/Failures.h"

#include <cctype>
#include <memory>
#include <sstream>
#include <vector>

namespace {

constexpr std::size_t DIGITS_IN_A_PAIR = 2;

constexpr char CUT_SHORT_CURE[] = ". Pass the whole capture.";
constexpr char SPOILT_CURE[] = ". The capture is damaged or is no tag stream.";

bool isPair(std::string const& text) {
    return text.size() == DIGITS_IN_A_PAIR
           && std::isxdigit(static_cast<unsigned char>(text[0])) != 0
           && std::isxdigit(static_cast<unsigned char>(text[1])) != 0;
}

/** The pairs with single blanks between them, which is the form that the decoder reads. */
std::string normalised(std::string const& text) {
    std::istringstream words(text);
    std::string pairs;
    std::size_t count = 0;
    for (std::string word; words >> word;) {
        for (std::size_t at = 0; at < word.size(); at += DIGITS_IN_A_PAIR) {
            std::string const pair = word.substr(at, DIGITS_IN_A_PAIR);
            ++count;
            if (!isPair(pair)) {
                throw Failure("byte " + std::to_string(count) + " of the stream is \"" + pair
                              + "\". Write every byte as two hexadecimal digits.");
            }
            pairs += (pairs.empty() ? "" : " ") + pair;
        }
    }
    return pairs;
}

/** One tag of a stream, for the messages. */
struct Part {
    TagBlock block;
    std::string of; ///< " of the first candidate", empty for a single tag
};

std::string textOf(CLinkedList<unsigned int>& stream, TagSpan span) {
    return CHexParser(0, false).ExtractString(&stream, static_cast<unsigned int>(span.start),
                                              static_cast<unsigned int>(span.length), true);
}

std::string bytes(TagSpan span) {
    return "bytes " + std::to_string(span.start) + " to " + std::to_string(span.end() - 1);
}

/** The field in which the stream ends, if it ends before the part does. */
std::string explainCut(Part const& part, StreamPosition count) {
    std::string const ends = "the stream ends after " + std::to_string(count) + " bytes, inside ";
    for (std::size_t field = 0; field < STREAM_FIELD_COUNT; ++field) {
        TagSpan const span = part.block.fields[field];
        if (span.length != 0 && count < span.end()) {
            return ends + streamFieldNames()[field].field + part.of + " (" + bytes(span) + ")"
                   + CUT_SHORT_CURE;
        }
    }
    bool const lacksButton = !part.of.empty() && count <= part.block.buttonAt;
    return lacksButton ? "the stream ends after " + std::to_string(count)
                             + " bytes, before the button" + part.of + CUT_SHORT_CURE
                       : std::string();
}

/** Whether storing a text fails, as the decoder found when it tried. */
template <class Store>
bool refuses(Store const& store) {
    try {
        store();
        return false;
    } catch (CTagException* failure) {
        std::unique_ptr<CTagException> const dropped(failure);
        return true;
    }
}

bool isNoNumber(CLinkedList<unsigned int>& stream, std::size_t field, TagSpan span) {
    return refuses([&] {
        CTag scratch;
        findTagField(streamFieldNames()[field].member)->assign(scratch, textOf(stream, span));
    });
}

std::string explainNumber(CLinkedList<unsigned int>& stream, Part const& part) {
    std::string const complaint = ") holds no number" + std::string(SPOILT_CURE);
    for (std::size_t const field : {STREAM_PROGRAM_NUMBER, STREAM_STOREFRONT_ID}) {
        TagSpan const span = part.block.fields[field];
        if (span.length != 0 && isNoNumber(stream, field, span)) {
            return streamFieldNames()[field].field + part.of + " (" + bytes(span) + complaint;
        }
    }
    TagSpan const button = {part.block.buttonAt, 1};
    if (!part.of.empty() && refuses([&] { stdTools::parseInt(textOf(stream, button)); })) {
        return "the button" + part.of + " (byte " + std::to_string(button.start) + complaint;
    }
    return {};
}

std::string explainPart(CLinkedList<unsigned int>& stream, Part const& part) {
    std::string const cut = explainCut(part, stream.Count());
    return cut.empty() ? explainNumber(stream, part) : cut;
}

std::vector<Part> partsOf(TagStream const& stream) {
    if (stream.at(TagStream::FORM_AT) == 0) {
        return {{stream.block(TagStream::FIRST_BLOCK_AT, TagStream::SINGLE_FIELDS_AT), ""}};
    }
    TagBlock const first = stream.block(TagStream::FIRST_BLOCK_AT, TagStream::AMBIGUOUS_FIELDS_AT);
    return {
        {first, " of the first candidate"},
        {stream.block(TagStream::SECOND_BLOCK_AT, first.buttonAt + 1), " of the second candidate"}};
}

} // namespace

ListOwner<unsigned int> readStream(std::string const& text) {
    std::string const pairs = normalised(text);
    if (pairs.empty()) {
        throw Failure("the stream is empty. Pass the pairs as an argument, in a file or on "
                      "standard input.");
    }
    return ListOwner<unsigned int>(CHexParser(0, false).StringToList(pairs));
}

bool isAmbiguous(CLinkedList<unsigned int> const& stream) {
    return **stream.begin() != 0;
}

std::string explainMalformed(CLinkedList<unsigned int>& list) {
    TagStream const stream(list);
    StreamPosition const lengthsEnd =
        isAmbiguous(list) ? TagStream::AMBIGUOUS_FIELDS_AT : TagStream::SINGLE_FIELDS_AT;
    if (stream.count() < lengthsEnd) {
        return "the stream ends after " + std::to_string(stream.count())
               + " bytes, inside the field lengths (bytes 1 to " + std::to_string(lengthsEnd - 1)
               + ")" + CUT_SHORT_CURE;
    }
    for (Part const& part : partsOf(stream)) {
        if (std::string reason = explainPart(list, part); !reason.empty()) {
            return reason;
        }
    }
    return std::string("its fields contradict their lengths") + SPOILT_CURE;
}
