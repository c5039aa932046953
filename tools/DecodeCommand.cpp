// "decode": a tag stream as fields or as the JSON of a request, and if wanted on its way to the
// service.
#include "tagdata/HexParser.h"
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Input.h"
#include "tools/Replies.h"
#include "tools/Requests.h"
#include "tools/ServiceLink.h"
#include "tools/StreamDiagnosis.h"
#include "tools/TagJson.h"
#include "tools/Text.h"

#include <CLI/CLI.hpp>
#include <json/writer.h>

#include <memory>
#include <ostream>

namespace {

struct DecodeOptions {
    std::vector<std::string> pairs;
    std::string file;
    bool send = false;
    std::optional<int> device;
    int timeout = DEFAULT_TIMEOUT_SECONDS;
    bool json = false;
};

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

std::string streamText(DecodeOptions const& options, std::istream& in) {
    if (!options.file.empty()) {
        return readFile(options.file);
    }
    bool const fromInput = options.pairs.empty() || options.pairs == std::vector<std::string>{"-"};
    return fromInput ? readAll(in) : joined(options.pairs);
}

void printTag(Json::Value const& tag, std::string const& heading, Console& console) {
    Style const style(console.colour);
    if (!heading.empty()) {
        console.out << style.bold(heading) << "\n";
    }
    Table table;
    for (std::string const& key : tag.getMemberNames()) {
        Json::Value const& value = tag[key];
        std::string const text =
            value.isBool() ? (value.asBool() ? "yes" : "no") : value.asString();
        if (!text.empty()) {
            table.add({key, text});
        }
    }
    table.print(console.out, style);
}

void printTags(Json::Value const& tags, Console& console) {
    if (tags.size() == 1) {
        printTag(tags[0], "", console);
        return;
    }
    for (Json::ArrayIndex index = 0; index < tags.size(); ++index) {
        console.out << (index == 0 ? "" : "\n");
        printTag(tags[index], "Candidate " + std::to_string(index + 1), console);
    }
}

void decode(DecodeOptions const& options, Console& console) {
    Json::Value request(Json::objectValue);
    if (options.device) {
        request["deviceID"] = *options.device;
    }
    ListOwner<unsigned int> const stream = readStream(streamText(options, console.in));
    request["tags"] = tagsOf(*stream, console.err);
    if (options.send) {
        requireReadable(request);
        std::string const text = Json::FastWriter().write(request);
        reportStatus(
            console,
            parseReply(ServiceLink().call(TAGGING_SERVICE, "tagRequest", text, options.timeout)),
            options.json);
    } else if (options.json) {
        printJson(console, request);
    } else {
        printTags(request["tags"], console);
    }
}

} // namespace

void addDecode(CLI::App& command, Console& console) {
    auto const options = std::make_shared<DecodeOptions>();
    CLI::Option* const pairs =
        command
            .add_option("hex", options->pairs,
                        "the stream in pairs of hexadecimal digits, with any white space "
                        "between them; - or nothing for standard input")
            ->type_name("HEX");
    command.add_option("-f,--file", options->file, "read the stream from a file")
        ->type_name("FILE")
        ->excludes(pairs);
    command.add_flag("--send", options->send, "mark it on the service");
    addDevice(command, options->device);
    addTimeout(command, options->timeout);
    addJson(command, options->json);
    command.footer(
        "\nWhat a request has no room for is left out, and a line on standard error says\n"
        "so. The JSON is what songlatchctl tag takes.");
    command.callback([options, &console] { decode(*options, console); });
}
