// The page's requests, each with a handler of its own.
//
// A connection comes to one of the server's threads, and its request to the factory, which lets
// nothing pass that is not meant for this page (see Access.h) and picks the handler by path and
// method. All handlers but one answer and are done. That of /live keeps its thread: it sends what
// is new on the board, rests, and looks whether the client still is there; a client that takes
// nothing for SEND_PATIENCE is left. Texts go out as JSON or as plain text and never as markup.
#include "rig/page/PageServer.h"

#include "rig/Landing.h"
#include "rig/page/Assets.h"

#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/StreamCopier.h>
#include <Poco/ThreadPool.h>
#include <Poco/URI.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

namespace net = Poco::Net;
using net::HTTPResponse;
using net::HTTPServerRequest;
using net::HTTPServerResponse;
using Handler = net::HTTPRequestHandler;

constexpr int THREADS = PageServer::MOST_CLIENTS + 8;
constexpr int QUEUE = 64;
constexpr std::size_t LARGEST_BODY = 65536;
constexpr unsigned int MOST_ROWS = 500;
constexpr auto REST = std::chrono::milliseconds(100);
constexpr auto LOOK = std::chrono::milliseconds(500);
Poco::Timespan const SEND_PATIENCE(2, 0);
Poco::Timespan const REQUEST_PATIENCE(5, 0);

void protect(HTTPServerResponse& response) {
    response.set("Content-Security-Policy",
                 "default-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
    response.set("X-Content-Type-Options", "nosniff");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Cache-Control", "no-store");
}

void send(HTTPServerResponse& response, char const* type, std::string_view body,
          HTTPResponse::HTTPStatus status = HTTPResponse::HTTP_OK) {
    protect(response);
    response.setStatusAndReason(status);
    response.setContentType(type);
    response.setContentLength(static_cast<std::streamsize>(body.size()));
    response.send().write(body.data(), static_cast<std::streamsize>(body.size()));
}

void sendJson(HTTPServerResponse& response, Json::Value const& value,
              HTTPResponse::HTTPStatus status = HTTPResponse::HTTP_OK) {
    send(response, "application/json", Json::FastWriter().write(value), status);
}

using Query = std::map<std::string, std::string>;

Query queryOf(HTTPServerRequest const& request) {
    auto const parameters = Poco::URI(request.getURI()).getQueryParameters();
    return {parameters.begin(), parameters.end()};
}

unsigned int numberIn(Query const& query, char const* key) {
    auto const found = query.find(key);
    int const number = found == query.end() ? 0 : toNumber(found->second);
    return static_cast<unsigned int>(std::max(0, number));
}

class Refusal : public Handler {
public:
    Refusal(HTTPResponse::HTTPStatus status, std::string reason)
        : mStatus(status), mReason(std::move(reason)) {}
    void handleRequest(HTTPServerRequest&, HTTPServerResponse& response) override {
        send(response, "text/plain; charset=utf-8", mReason + "\n", mStatus);
    }

private:
    HTTPResponse::HTTPStatus mStatus;
    std::string mReason;
};

class File : public Handler {
public:
    explicit File(Asset const& asset) : mAsset(asset) {}
    void handleRequest(HTTPServerRequest&, HTTPServerResponse& response) override {
        send(response, contentTypeOf(mAsset.name), mAsset.content);
    }

private:
    Asset const& mAsset;
};

class Rows : public Handler {
public:
    Rows(FileWatch const& files, std::string list) : mFiles(files), mList(std::move(list)) {}
    void handleRequest(HTTPServerRequest& request, HTTPServerResponse& response) override {
        Query const query = queryOf(request);
        sendJson(response, mFiles.rows(mList, numberIn(query, "from"),
                                       std::min(MOST_ROWS, numberIn(query, "count"))));
    }

private:
    FileWatch const& mFiles;
    std::string mList;
};

/** What has landed on an iPod: the names of the texts, or one of them. */
class Landed : public Handler {
public:
    explicit Landed(Board const& board) : mBoard(board) {}
    void handleRequest(HTTPServerRequest& request, HTTPServerResponse& response) override {
        Query const query = queryOf(request);
        auto const folder = folderOf(static_cast<int>(numberIn(query, "device")));
        Json::Value names = Json::arrayValue;
        auto const wanted = query.find("name");
        for (auto const& name : namesIn(folder)) {
            if (wanted != query.end() && name == wanted->second) {
                std::ifstream file(folder / name, std::ios::binary);
                std::ostringstream text;
                text << file.rdbuf();
                send(response, "text/plain; charset=utf-8", text.str());
                return;
            }
            names.append(name);
        }
        sendJson(response, names);
    }

private:
    std::filesystem::path folderOf(int device) const {
        for (auto const& attached : mBoard.value("devices")) {
            if (attached["id"].asInt() == device) {
                return std::filesystem::path(attached["mountPoint"].asString()) / Landing::FOLDER;
            }
        }
        return {};
    }

    static std::vector<std::string> namesIn(std::filesystem::path const& folder) {
        std::vector<std::string> names;
        std::error_code ignored;
        for (auto const& entry : std::filesystem::directory_iterator(folder, ignored)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    Board const& mBoard;
};

class Do : public Handler {
public:
    explicit Do(Actions& actions) : mActions(actions) {}
    void handleRequest(HTTPServerRequest& request, HTTPServerResponse& response) override {
        std::string body(LARGEST_BODY, '\0');
        request.stream().read(body.data(), static_cast<std::streamsize>(body.size()));
        body.resize(static_cast<std::size_t>(request.stream().gcount()));
        Json::Value action;
        if (!Json::Reader().parse(body, action)) {
            action = Json::Value();
        }
        Json::Value const answer = mActions.perform(action);
        bool const failed = answer.isMember("error");
        sendJson(response, answer, failed ? HTTPResponse::HTTP_CONFLICT : HTTPResponse::HTTP_OK);
    }

private:
    Actions& mActions;
};

class Live : public Handler {
public:
    Live(Board const& board, std::atomic<int>& clients) : mBoard(board), mClients(clients) {}

    void handleRequest(HTTPServerRequest& request, HTTPServerResponse& response) override {
        Place const place(mClients);
        if (!place.had()) {
            send(response, "text/plain; charset=utf-8",
                 "So many pages are open already that this one gets no news.\n",
                 HTTPResponse::HTTP_SERVICE_UNAVAILABLE);
            return;
        }
        try {
            net::WebSocket socket(request, response);
            socket.setSendTimeout(SEND_PATIENCE);
            keepUpToDate(socket);
        } catch (Poco::Exception const&) {
            // The client has gone, does not read, or speaks another language: it is left.
        }
    }

private:
    /** One of the places for clients, for as long as it lives. */
    class Place {
    public:
        explicit Place(std::atomic<int>& taken)
            : mTaken(taken), mHad(++taken <= PageServer::MOST_CLIENTS) {}
        ~Place() { --mTaken; }
        Place(Place const&) = delete;
        Place& operator=(Place const&) = delete;
        bool had() const { return mHad; }

    private:
        std::atomic<int>& mTaken;
        bool mHad;
    };

    void keepUpToDate(net::WebSocket& socket) const {
        Board::Cursor cursor = 0;
        while (!mBoard.closed()) {
            Json::Value const news = mBoard.since(cursor);
            if (!news.empty()) {
                std::string const text = Json::FastWriter().write(news);
                socket.sendFrame(text.data(), static_cast<int>(text.size()));
            }
            if (!stays(socket, REST)) {
                return;
            }
            mBoard.waitForNews(cursor, LOOK);
        }
        socket.shutdown();
    }

    /** Lets time pass and reads what the client says: that it goes, or whether we are there. */
    static bool stays(net::WebSocket& socket, std::chrono::milliseconds time) {
        while (socket.poll(Poco::Timespan(0, static_cast<long>(time.count()) * 1000),
                           net::Socket::SELECT_READ)) {
            std::array<char, 1024> bytes; // NOLINT: filled by receiveFrame
            int flags = 0;
            int const count =
                socket.receiveFrame(bytes.data(), static_cast<int>(bytes.size()), flags);
            int const kind = flags & net::WebSocket::FRAME_OP_BITMASK;
            if (kind == net::WebSocket::FRAME_OP_CLOSE || (count == 0 && flags == 0)) {
                return false;
            }
            if (kind == net::WebSocket::FRAME_OP_PING) {
                socket.sendFrame(bytes.data(), count, PONG);
            }
        }
        return true;
    }

    static constexpr int PONG = static_cast<int>(net::WebSocket::FRAME_FLAG_FIN)
                                | static_cast<int>(net::WebSocket::FRAME_OP_PONG);

    Board const& mBoard;
    std::atomic<int>& mClients;
};

class Doors : public net::HTTPRequestHandlerFactory {
public:
    Doors(Access access, Board& board, Actions& actions, FileWatch const& files)
        : mAccess(std::move(access)), mBoard(board), mActions(actions), mFiles(files) {}

    Handler* createRequestHandler(HTTPServerRequest const& request) override {
        return pick(request).release();
    }

private:
    using Picked = std::unique_ptr<Handler>;

    static Picked refusal(HTTPResponse::HTTPStatus status, char const* reason) {
        return std::make_unique<Refusal>(status, reason);
    }

    Picked pick(HTTPServerRequest const& request) {
        if (!mAccess.allowsHost(request.get("Host", ""))
            || !mAccess.allowsOrigin(request.get("Origin", ""))) {
            return refusal(HTTPResponse::HTTP_FORBIDDEN,
                           "This page answers to its own address alone.");
        }
        std::string const path = request.getURI().substr(0, request.getURI().find('?'));
        if (request.getMethod() == "POST") {
            return pickPost(request, path);
        }
        if (request.getMethod() == "GET") {
            return pickGet(path); // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): handed out
        }
        return refusal(HTTPResponse::HTTP_METHOD_NOT_ALLOWED, "GET and POST are answered.");
    }

    Picked pickPost(HTTPServerRequest const& request, std::string const& path) {
        if (path != "/do") {
            return refusal(HTTPResponse::HTTP_METHOD_NOT_ALLOWED, "Only /do takes a POST.");
        }
        // A form of a foreign page cannot send this type, and has to ask first if a script does.
        if (request.getContentType() != "application/json") {
            return refusal(HTTPResponse::HTTP_UNSUPPORTEDMEDIATYPE, "Send application/json.");
        }
        return std::make_unique<Do>(mActions);
    }

    Picked pickGet(std::string const& path) {
        if (path == "/live") {
            return std::make_unique<Live>(mBoard, mClients);
        }
        if (path == "/waiting" || path == "/record") {
            return std::make_unique<Rows>(mFiles, path.substr(1));
        }
        if (path == "/landed") {
            return std::make_unique<Landed>(mBoard);
        }
        Asset const* const asset = findAsset(path == "/" ? "index.html" : path.substr(1));
        return asset == nullptr ? refusal(HTTPResponse::HTTP_NOT_FOUND, "There is no such page.")
                                : std::make_unique<File>(*asset);
    }

    Access mAccess;
    Board& mBoard;
    Actions& mActions;
    FileWatch const& mFiles;
    std::atomic<int> mClients{0};
};

/** The threads of the one server. */
Poco::ThreadPool& threads() {
    static Poco::ThreadPool pool(2, THREADS);
    return pool;
}

} // namespace

PageServer::PageServer(PageAddress address, Board& board, Actions& actions, FileWatch const& files)
    : mAddress(std::move(address)), mBoard(board) {
    try {
        net::ServerSocket socket(net::SocketAddress(mAddress.host, mAddress.port));
        mAddress.port = socket.address().port();
        net::HTTPServerParams::Ptr parameters(new net::HTTPServerParams);
        parameters->setMaxThreads(THREADS);
        parameters->setMaxQueued(QUEUE);
        parameters->setKeepAlive(false);
        parameters->setTimeout(REQUEST_PATIENCE);
        mServer = std::make_unique<net::HTTPServer>(
            new Doors(Access(mAddress), board, actions, files), threads(), socket, parameters);
        mServer->start();
    } catch (Poco::Exception const& fault) {
        throw std::runtime_error("cannot serve the page at " + mAddress.url() + ": "
                                 + fault.displayText() + "; choose another port");
    }
}

PageServer::~PageServer() {
    mBoard.close();
    mServer->stopAll(true);
}
