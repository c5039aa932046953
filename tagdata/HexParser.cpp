// A tag stream is a form byte, one block of field lengths for each tag, and the fields behind one
// another without separators. Decoding therefore has two halves: TagStream computes from the
// lengths where every field must lie, and a rule for each field judges from its place and the
// number of bytes that really came whether the field is extracted, left empty or spoils the
// stream.
//
// The two forms share fields, rules and engine. What sets them apart is in their two Form tables:
// the fields whose rule or text is an odd one, and what is logged on the way. Streams are cut off
// in practice, and the odd rules decide which of the short ones are accepted.
#include "tagdata/HexParser.h"

#include "tagdata/Base64.h"
#include "tagdata/TagFields.h"
#include "tagdata/TagStream.h"

#include <Poco/Latin1Encoding.h>
#include <Poco/TextConverter.h>
#include <Poco/UTF8Encoding.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <sstream>

namespace {

constexpr char SEPARATOR = ' ';
constexpr char UNCONVERTIBLE = '?';

// Candidates are logged under the name of the decoder of single tags too.
// Test: HexParserAmbigBounds.LogsUnderTheNameOfTheSingleDecoder.
constexpr char LOG_SOURCE[] = "CHexParser_ParseSingle";

enum class Verdict { Extract, LeaveEmpty, Fail };

/** What is to be done with a field, by the layout around it and the number of bytes that came. */
using Rule = Verdict (*)(TagBlock const& block, TagSpan field, StreamPosition count);

bool isWhole(TagSpan field, StreamPosition count) {
    return field.length != 0 && count >= field.end();
}

Verdict wholeOrFail(TagBlock const& /*block*/, TagSpan field, StreamPosition count) {
    if (field.length == 0) {
        return Verdict::LeaveEmpty;
    }
    return isWhole(field, count) ? Verdict::Extract : Verdict::Fail;
}

Verdict wholeOrEmpty(TagBlock const& /*block*/, TagSpan field, StreamPosition count) {
    return isWhole(field, count) ? Verdict::Extract : Verdict::LeaveEmpty;
}

/** Tests where the field begins; extracting then fails by itself where the bytes end. */
Verdict startOrFail(TagBlock const& /*block*/, TagSpan field, StreamPosition count) {
    if (field.length == 0) {
        return Verdict::LeaveEmpty;
    }
    return count >= field.start ? Verdict::Extract : Verdict::Fail;
}

/** What is not whole fails where Name is not whole. */
Verdict wholeOrAsName(TagBlock const& block, TagSpan field, StreamPosition count) {
    if (isWhole(field, count)) {
        return Verdict::Extract;
    }
    TagSpan const name = block.fields[STREAM_NAME];
    return name.length != 0 && count < name.end() ? Verdict::Fail : Verdict::LeaveEmpty;
}

/** What is not whole fails where there is a Name at all, even a field of length 0. */
Verdict wholeOrFailWithName(TagBlock const& block, TagSpan field, StreamPosition count) {
    if (isWhole(field, count)) {
        return Verdict::Extract;
    }
    TagSpan const name = block.fields[STREAM_NAME];
    return name.length != 0 && count < field.end() ? Verdict::Fail : Verdict::LeaveEmpty;
}

struct FieldRule {
    Rule judge = wholeOrFail;
    char const* culprit = nullptr; ///< who the failure text blames, null for the field itself
};

struct Form {
    std::array<FieldRule, STREAM_FIELD_COUNT> rules;
    bool announcesFields; ///< a log line before each field
    bool tracesSongId;    ///< log lines around an extracted song id
};

// A field that the stream cuts off is empty in one form and a failure in the other, so the two
// forms keep separate tables. Tests: HexParserSingle.*, HexParserAmbigBounds.*.
constexpr Form singleForm() {
    Form form{{}, false, true};
    form.rules[STREAM_ARTIST] = {wholeOrAsName, "Name"};
    form.rules[STREAM_PROGRAM_NUMBER] = {startOrFail, "Program Number"};
    form.rules[STREAM_STATION_FREQUENCY] = {wholeOrEmpty, nullptr};
    return form;
}

constexpr Form ambiguousForm() {
    Form form{{}, true, false};
    form.rules[STREAM_CALL_LETTERS] = {wholeOrFailWithName, nullptr};
    form.rules[STREAM_STATION_URL] = {wholeOrFail, "Name"};
    return form;
}

constexpr Form SINGLE = singleForm();
constexpr Form AMBIGUOUS = ambiguousForm();

std::string toUtf8(std::string const& latin1) {
    Poco::Latin1Encoding const from;
    Poco::UTF8Encoding const to;
    std::string utf8;
    Poco::TextConverter(from, to, UNCONVERTIBLE).convert(latin1, utf8);
    return utf8;
}

std::string extract(TagStream const& stream, TagSpan span, bool skipZeros) {
    std::string text = stream.latin1(span);
    if (skipZeros) {
        text.erase(std::remove(text.begin(), text.end(), '\0'), text.end());
    }
    return toUtf8(text);
}

std::string base64(std::string const& bytes) {
    return Base64().encode(reinterpret_cast<unsigned char const*>(bytes.data()),
                           static_cast<unsigned int>(bytes.size()));
}

/** One run of a decoder over one stream. */
class Decoder {
public:
    Decoder(stdTools const& ownTools, CLinkedList<unsigned int> const& bytes, Form const& form)
        : mTools(ownTools), mForm(form), mStream(bytes) {}

    void log(std::string const& message) const {
        mTools.Output(LOG_SOURCE, message, stdTools::Message);
    }

    TagBlock readBlock(StreamPosition lengthsAt, StreamPosition firstFieldAt) const {
        TagBlock const block = mStream.block(lengthsAt, firstFieldAt);
        log("All Lengths Found");
        log("All Starts Found");
        for (std::size_t field = 0; field < STREAM_FIELD_COUNT; ++field) {
            TagSpan const span = block.fields[field];
            log(std::string(streamFieldNames()[field].field) + ": " + std::to_string(span.start)
                + " - " + std::to_string(span.length));
        }
        log("ButtonPressed: " + std::to_string(block.buttonAt));
        return block;
    }

    void fill(CTag& tag, TagBlock const& block) const {
        for (std::size_t field = 0; field < STREAM_FIELD_COUNT; ++field) {
            if (mForm.announcesFields) {
                log(std::string("Parsing ") + streamFieldNames()[field].title);
            }
            fillField(tag, field, block);
        }
    }

    int button(TagBlock const& block) const {
        log("Parsing Button Pressed");
        return stdTools::parseInt(extract(mStream, {block.buttonAt, 1}, true));
    }

private:
    void fillField(CTag& tag, std::size_t field, TagBlock const& block) const {
        FieldRule const rule = mForm.rules[field];
        switch (rule.judge(block, block.fields[field], mStream.count())) {
        case Verdict::Extract:
            findTagField(streamFieldNames()[field].member)
                ->assign(tag, fieldText(field, block.fields[field]));
            break;
        case Verdict::LeaveEmpty:
            break;
        case Verdict::Fail:
            fail(rule.culprit != nullptr ? rule.culprit : streamFieldNames()[field].field);
        }
    }

    std::string fieldText(std::size_t field, TagSpan span) const {
        if (field == STREAM_UNKNOWN_DATA) {
            return base64(extract(mStream, span, false));
        }
        bool const traced = mForm.tracesSongId && field == STREAM_SONG_ID;
        if (traced) {
            log("Parsing iTunesSongID");
        }
        std::string text = extract(mStream, span, true);
        if (traced) {
            log("Temp:" + text);
        }
        return text;
    }

    [[noreturn]] static void fail(std::string const& culprit) {
        throwTagException(CTagException::ExBadIndex, culprit + " Index is out of bounds");
    }

    stdTools const& mTools;
    Form const& mForm;
    TagStream mStream;
};

/** Whatever is thrown while decoding, the caller sees one failure. */
template <class Decode>
auto orMalformed(Decode const& decode) {
    try {
        return decode();
    } catch (...) {
        dropException();
    }
    throwTagException(CTagException::ExBadIndex, "Malformed Tag Sequence");
}

} // namespace

CHexParser::CHexParser(unsigned int nowOffset, bool flag) : mNowOffset(nowOffset), mFlag(flag) {}

CHexParser::~CHexParser() = default;

CLinkedList<unsigned int>* CHexParser::StringToList(std::string text) const {
    constexpr int BASE_BY_PREFIX = 0;
    // A number too large is the largest of 32 bits also where long has more.
    // Test: HexParserStringToList.ANumberBeyond32BitsEndsAtTheLargestOnEveryMachine.
    constexpr unsigned long LARGEST = 0xFFFFFFFF;
    auto list = makeList<unsigned int>();
    std::istringstream stream(text);
    for (std::string token; std::getline(stream, token, SEPARATOR);) {
        unsigned long const value = std::strtoul(("0x" + token).c_str(), nullptr, BASE_BY_PREFIX);
        auto const element = static_cast<unsigned int>(std::min(value, LARGEST));
        list->AddRear(std::make_unique<unsigned int>(element).release());
    }
    return list.release();
}

std::string CHexParser::ExtractString(CLinkedList<unsigned int>* list, unsigned int start,
                                      unsigned int length, bool skipZeros) const {
    return extract(TagStream(*list), {start, length}, skipZeros);
}

std::string CHexParser::FormattedNow() const {
    constexpr std::size_t BUFFER_SIZE = 22;
    std::time_t const now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[BUFFER_SIZE];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

CTag* CHexParser::ParseSingle(CLinkedList<unsigned int>* list) const {
    return orMalformed([&] {
        Decoder const decoder(mTools, *list, SINGLE);
        decoder.log("Starting");
        auto tag = std::make_unique<CTag>();
        decoder.fill(*tag,
                     decoder.readBlock(TagStream::FIRST_BLOCK_AT, TagStream::SINGLE_FIELDS_AT));
        decoder.log("Finishing");
        return tag.release();
    });
}

CLinkedList<CAmbigTag>* CHexParser::ParseAmbig(CLinkedList<unsigned int>* list) const {
    return orMalformed([&] {
        Decoder const decoder(mTools, *list, AMBIGUOUS);
        decoder.log("Starting");
        auto candidates = makeList<CAmbigTag>();
        StreamPosition firstFieldAt = TagStream::AMBIGUOUS_FIELDS_AT;
        for (StreamPosition const lengthsAt :
             {TagStream::FIRST_BLOCK_AT, TagStream::SECOND_BLOCK_AT}) {
            TagBlock const block = decoder.readBlock(lengthsAt, firstFieldAt);
            auto candidate = std::make_unique<CAmbigTag>();
            decoder.fill(*candidate, block);
            candidate->ButtonPressed(decoder.button(block));
            decoder.log("Storing Tag");
            candidates->AddRear(candidate.release());
            // One byte for the button, whatever length the block gives it.
            // Test: HexParserAmbig.TheButtonIsOneByteWhateverItsLengthSays.
            firstFieldAt = block.buttonAt + 1;
        }
        decoder.log("Finishing");
        return candidates.release();
    });
}
