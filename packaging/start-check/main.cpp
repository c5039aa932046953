// songlatch-start-check: what the unit asks before each start of the service.
//
// The service itself ends with status 0 whatever ended it, so that a system's service manager
// cannot tell a damaged configuration from an orderly end. This program can: it reads the same
// files with the same classes and fails with one line that says what to mend.
#include "files/CConfigInfo.h"
#include "files/XMLTools.h"
#include "tagdata/CAmbigTag.h"
#include "tagdata/CLinkedList.h"
#include "tagdata/CTagException.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char OPTION[] = "-config=";
constexpr char USAGE[] =
    R"(Usage: songlatch-start-check [-config=PATH]

Fails with one line if Songlatch would not run: the configuration cannot be read, or the folder of
the tags is not there or not writable. Of Tags.xml, AmbigTag.xml and TaggedInfo.xml those that are
missing or empty are laid down as documents without content. An AmbigTag.xml that the service would not start on is set
aside under the name AmbigTag.xml.damaged-TIME, and an empty one is laid down.
)";
constexpr char EMPTY[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MarkedTracks>\n</MarkedTracks>\n";

struct FreeDocument {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

/** The first complaint of the parser, which is the one to mend: the others follow from it. */
struct Complaint {
    int line = 0;
    std::string text;
};

/** A template, as libxml2 has made the second argument const in the meantime. */
template <class Error>
void keepFirst(void* kept, Error* error) {
    auto* const complaint = static_cast<Complaint*>(kept);
    if (complaint->text.empty() && error->message != nullptr) {
        complaint->line = error->line;
        complaint->text = error->message;
        complaint->text.erase(complaint->text.find_last_not_of('\n') + 1);
    }
}

/** @throws std::runtime_error "PATH:LINE: why" if the file does not parse */
Document parse(std::string const& path) {
    Complaint complaint;
    xmlSetStructuredErrorFunc(&complaint, keepFirst);
    Document document(xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET));
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    if (document == nullptr) {
        std::string const line =
            complaint.line > 0 ? ":" + std::to_string(complaint.line) : std::string();
        throw std::runtime_error(path + line + ": " + complaint.text);
    }
    return document;
}

/** @throws std::runtime_error if the configuration does not parse */
bool keepsSafely(std::string const& path) {
    Document const configuration = parse(path);
    std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> const context(
        xmlXPathNewContext(configuration.get()), xmlXPathFreeContext);
    std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> const found(
        xmlXPathEvalExpression(reinterpret_cast<xmlChar const*>( // the library's kind of text
                                   "boolean(//safeKeeping[last()][@enabled='true'])"),
                               context.get()),
        xmlXPathFreeObject);
    return found != nullptr && found->boolval != 0;
}

void requireReadable(std::string const& path) {
    if (access(path.c_str(), R_OK) != 0) {
        throw std::runtime_error(path + ": " + std::strerror(errno)
                                 + "; the sample is /usr/share/songlatch/Songlatch.conf");
    }
}

void requireWritable(std::string const& folder) {
    if (access(folder.c_str(), W_OK | X_OK) != 0) {
        throw std::runtime_error(folder + ": " + std::strerror(errno)
                                 + "; this localStorage folder must be writable for the service");
    }
}

std::string nowInNames() {
    std::time_t const now = std::time(nullptr);
    std::tm parts{};
    char text[sizeof "20260101T000000Z"];
    std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", gmtime_r(&now, &parts));
    return text;
}

/** A name that nothing has yet, as two damaged files may come in one second. */
std::string freeName(std::string const& name) {
    struct stat ignored {};
    std::string candidate = name;
    for (int number = 1; lstat(candidate.c_str(), &ignored) == 0; ++number) {
        candidate = name + "-" + std::to_string(number);
    }
    return candidate;
}

void layDownEmpty(std::string const& path) {
    std::ofstream file(path);
    file << EMPTY;
    if (!file.flush()) {
        throw std::runtime_error(path + ": cannot be written: " + std::strerror(errno));
    }
}

/** Whether there is nothing in the file, or no file. */
bool isEmpty(std::string const& path) {
    struct stat file {};
    return stat(path.c_str(), &file) != 0 || file.st_size == 0;
}

/** Empty files are a first start's, or what a kill in mid-write has left. */
void layDownMissing(std::string const& folder) {
    for (auto const* name : {"Tags.xml", "AmbigTag.xml", "TaggedInfo.xml"}) {
        if (isEmpty(folder + name)) {
            layDownEmpty(folder + name);
        }
    }
}

void setAside(std::string const& path) {
    std::string const aside = freeName(path + ".damaged-" + nowInNames());
    if (std::rename(path.c_str(), aside.c_str()) != 0) {
        throw std::runtime_error(path + ": cannot be set aside: " + std::strerror(errno));
    }
    std::cerr << "<3>songlatch-start-check: " << path << " was damaged; it is now " << aside
              << " and the service starts with no ambiguous tag\n";
}

/** The service does not start without a whole AmbigTag.xml; of the other two it needs none. */
void mendCandidates(XMLTools& tools, std::string const& path) {
    try {
        ListOwner<CAmbigTag> const whole(tools.LoadAmbigTags());
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const ignored(exception);
        setAside(path);
        layDownEmpty(path);
    }
}

void check(std::string const& path) {
    requireReadable(path);
    bool const safe = keepsSafely(path);
    XMLTools::_CONFIGFILEPATH = path;
    XMLTools tools(0, false);
    std::unique_ptr<CConfigInfo> const values(tools.LoadConfig());
    std::string const folder = values->localStorage().empty() ? "./" : values->localStorage();
    requireWritable(folder);
    layDownMissing(folder);
    // Under safe keeping the service mends a damaged file itself, and saves what stands before the
    // damage.
    if (!safe) {
        mendCandidates(tools, folder + "AmbigTag.xml");
    }
}

} // namespace

int main(int argc, char** argv) {
    std::string path = XMLTools::_CONFIGFILEPATH;
    for (int index = 1; index < argc; ++index) {
        std::string const argument = argv[index];
        if (argument.compare(0, sizeof OPTION - 1, OPTION) != 0) {
            std::cout << USAGE;
            return argument == "--help" ? 0 : 2;
        }
        path = argument.substr(sizeof OPTION - 1);
    }
    try {
        check(path);
    } catch (CTagException* exception) {
        std::unique_ptr<CTagException> const failure(exception);
        std::cerr << "<3>songlatch-start-check: " << path << ": " << failure->Message()
                  << "; is maxTagCount a number?\n";
        return 1;
    } catch (std::exception const& failure) {
        std::cerr << "<3>songlatch-start-check: " << failure.what() << "\n";
        return 1;
    }
    return 0;
}
