#include "tools/DecodeCommand.h"

#include "tagdata/HexParser.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Input.h"
#include "tools/ServiceCommands.h"
#include "tools/StreamDiagnosis.h"
#include "tools/TagJson.h"

#include <json/writer.h>

#include <memory>
#include <ostream>

namespace {

Json::Value decodeTags(CLinkedList<unsigned int>& stream, std::ostream& warnings) {
    CHexParser const parser(0, false);
    Json::Value tags(Json::arrayValue);
    if (!isAmbiguous(stream)) {
        std::unique_ptr<CTag> const tag(parser.ParseSingle(&stream));
        tags.append(toJson(*tag, warnings));
        return tags;
    }
    ListOwner<CAmbigTag> const candidates(parser.ParseAmbig(&stream));
    for (CAmbigTag const* const candidate : *candidates) {
        tags.append(toJson(*candidate, warnings));
    }
    return tags;
}

Json::Value tagsOf(CLinkedList<unsigned int>& stream, std::ostream& warnings) {
    try {
        return decodeTags(stream, warnings);
    } catch (CTagException* thrown) {
        std::unique_ptr<CTagException> const exception(thrown);
        throw Failure(exception->Message() + ": " + explainMalformed(stream));
    }
}

/** The operands joined: pairs may come as one argument or as many. */
std::string joined(std::vector<std::string> const& words) {
    std::string text;
    for (std::string const& word : words) {
        text += word + " ";
    }
    return text;
}

std::string streamText(Arguments const& arguments, std::istream& in) {
    std::vector<std::string> const& operands = arguments.operands();
    if (std::optional<std::string> const file = arguments.value("-f")) {
        arguments.takeAtMost(0);
        return readFile(*file);
    }
    bool const fromInput = operands.empty() || operands == std::vector<std::string>{"-"};
    return fromInput ? readAll(in) : joined(operands);
}

} // namespace

void decode(Arguments const& arguments, Console console) {
    Json::Value request(Json::objectValue);
    if (std::optional<int> const device = arguments.number("--device")) {
        request["deviceID"] = *device;
    }
    ListOwner<unsigned int> const stream = readStream(streamText(arguments, console.in));
    request["tags"] = tagsOf(*stream, console.err);
    std::string const text = Json::FastWriter().write(request);
    if (arguments.has("--send")) {
        callService("tagRequest", text, arguments, console);
    } else {
        console.out << text;
    }
}
