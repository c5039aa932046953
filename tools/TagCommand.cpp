// "tag": a request from fields on the command line, or as JSON from a file or standard input. It is
// looked at before it leaves, since the service ends over a value of the wrong kind, and the reply
// becomes a sentence and an exit status. The options are made from the table of fields.
#include "tools/CommandOptions.h"
#include "tools/Console.h"
#include "tools/Failures.h"
#include "tools/Input.h"
#include "tools/Replies.h"
#include "tools/RequestFields.h"
#include "tools/Requests.h"
#include "tools/ServiceLink.h"

#include <CLI/CLI.hpp>
#include <json/writer.h>

#include <array>
#include <memory>

namespace {

constexpr std::size_t MOST_CANDIDATES = 2;

struct TagOptions {
    std::string source;
    std::array<std::vector<std::string>, REQUEST_FIELD_COUNT> fields;
    int pressed = 0;
    std::optional<int> device;
    int timeout = DEFAULT_TIMEOUT_SECONDS;
    bool json = false;
};

/** A storefront above the signed range travels as the negative number with the same 32 bits. */
Json::Value carried(RequestField const& field, std::string const& text) {
    if (field.kind == FieldKind::Text) {
        return text;
    }
    return static_cast<Json::Int>(static_cast<Json::UInt>(numberOf(text)));
}

/** How many candidates the fields describe: two as soon as any is given twice. */
std::size_t candidateCount(TagOptions const& options) {
    std::size_t count = 0;
    for (std::vector<std::string> const& values : options.fields) {
        count = std::max(count, values.size());
    }
    return count;
}

/** One candidate. A field that is given once is the same for both. */
Json::Value candidate(TagOptions const& options, std::size_t index) {
    Json::Value tag(Json::objectValue);
    for (std::size_t at = 0; at < REQUEST_FIELD_COUNT; ++at) {
        std::vector<std::string> const& values = options.fields[at];
        if (!values.empty()) {
            RequestField const& field = requestFields()[at];
            tag[field.key] = carried(field, values[std::min(index, values.size() - 1)]);
        }
    }
    return tag;
}

void requireCandidates(TagOptions const& options, std::size_t count) {
    if (count == 0) {
        throw UsageError("tag needs the song: --name and other fields, a file with JSON, or - for "
                         "standard input");
    }
    if (count > MOST_CANDIDATES) {
        throw UsageError("a field may be given twice, for the two songs of an ambiguous tag, and "
                         "not "
                         + std::to_string(count) + " times");
    }
    if (options.pressed != 0 && count < MOST_CANDIDATES) {
        throw UsageError("--pressed tells which of two songs was meant; there is only one");
    }
}

Json::Value requestOf(TagOptions const& options) {
    std::size_t const count = candidateCount(options);
    requireCandidates(options, count);
    Json::Value request(Json::objectValue);
    for (std::size_t index = 0; index < count; ++index) {
        Json::Value tag = candidate(options, index);
        if (count == MOST_CANDIDATES) {
            tag["ButtonPressed"] = static_cast<int>(index) + 1 == options.pressed;
        }
        request["tags"].append(tag);
    }
    return request;
}

/** The text to send: what a file holds goes out as it stands. */
std::string requestText(TagOptions const& options, Console& console) {
    if (options.source.empty()) {
        Json::Value request = requestOf(options);
        if (options.device) {
            request["deviceID"] = *options.device;
        }
        return Json::FastWriter().write(request);
    }
    if (candidateCount(options) != 0 || options.pressed != 0) {
        throw UsageError("the song comes from \"" + options.source
                         + "\" or from options, and not from both");
    }
    std::string text = readSource(options.source, console.in);
    Json::Value request = parseTagRequest(text, sourceName(options.source));
    if (!options.device) {
        return text;
    }
    request["deviceID"] = *options.device;
    return Json::FastWriter().write(request);
}

void tag(TagOptions const& options, Console& console) {
    std::string const text = requestText(options, console);
    reportStatus(
        console,
        parseReply(ServiceLink().call(TAGGING_SERVICE, "tagRequest", text, options.timeout)),
        options.json);
}

void addField(CLI::App& command, RequestField const& field, std::vector<std::string>& values) {
    if (field.option == nullptr) {
        return;
    }
    if (field.kind == FieldKind::Text) {
        addTexts(command, field.option, field.meaning, values);
    } else {
        addNumbers(command, field.option, field.meaning, field.lowest, field.highest, values);
    }
}

} // namespace

void addTag(CLI::App& command, Console& console) {
    auto const options = std::make_shared<TagOptions>();
    command.add_option("file", options->source, "a tagRequest as JSON; - for standard input")
        ->type_name("FILE");
    for (std::size_t at = 0; at < REQUEST_FIELD_COUNT; ++at) {
        addField(command, requestFields()[at], options->fields[at]);
    }
    CLI::Option* const pressed = command.add_option_function<std::string>(
        "--pressed", [options](std::string const& text) { options->pressed = text[0] - '0'; },
        "which of two songs was meant: 1 or 2");
    limitTo(*pressed->type_name("1|2"), {"1", "2"});
    addDevice(command, options->device);
    addTimeout(command, options->timeout);
    addJson(command, options->json);
    command.footer("\nFields given twice describe the two songs of an ambiguous tag; one that is\n"
                   "given once is the same for both.");
    command.callback([options, &console] { tag(*options, console); });
}
