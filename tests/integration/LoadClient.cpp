// A client for what no command line carries: very long texts, and very many requests.
//
//   load-client call METHOD        sends standard input as the parameters, prints the reply
//   load-client run FILE           FILE holds one request a line, a method and its parameters;
//                                  each number on standard input sends as many, FILE over and
//                                  over, a few at a time, and is answered by the same number
//
// A reply that is an error ends it with status 1.
#include "tellbus/tellbus.h"

#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

namespace {

constexpr char SERVICE[] = "com.veldan.service.Songlatch";
constexpr char PATH[] = "/com/veldan/service/Songlatch";
constexpr unsigned int TIMEOUT_MS = 600000;
constexpr unsigned int FEW = 8;

struct Request {
    std::string method;
    std::string parameters;
};

[[noreturn]] void fail(char const* what) {
    std::cerr << what << std::endl;
    std::_Exit(EXIT_FAILURE);
}

/** The requests under way. Replies come on the library's thread. */
class Calls {
public:
    Calls() {
        if (TELLBUS_FAILED(TELLBUS_initialize())
            || TELLBUS_FAILED(TELLBUS_getConnection(0, 0, &mConnection))) {
            fail("there is no bus");
        }
    }
    ~Calls() {
        TELLBUS_closeConnection(mConnection);
        TELLBUS_shutdown();
    }
    Calls(Calls const&) = delete;
    Calls& operator=(Calls const&) = delete;

    void send(Request const& request) {
        waitFor(FEW - 1);
        {
            std::lock_guard<std::mutex> const lock(mMutex);
            ++mPending;
        }
        void* token = nullptr;
        TELLBUS_tStatus const status = TELLBUS_asyncInvoke(
            mConnection, SERVICE, PATH, request.method.c_str(), request.parameters.c_str(), false,
            TIMEOUT_MS, onResult, &token, this);
        if (TELLBUS_FAILED(status)) {
            fail("the request was not sent");
        }
    }

    /** Waits until no more than this many are under way; gives the last reply. */
    std::string waitFor(unsigned int pending) {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [&] { return mPending <= pending; });
        return mReply;
    }

private:
    static void onResult(TELLBUS_tCallbackStatus const* status, char const* result, void* cookie) {
        if (TELLBUS_FAILED(status->status) || result == nullptr) {
            fail("a request failed");
        }
        static_cast<Calls*>(cookie)->done(result);
    }

    void done(char const* reply) {
        std::lock_guard<std::mutex> const lock(mMutex);
        --mPending;
        mReply = reply;
        mChanged.notify_one();
    }

    void* mConnection = nullptr;
    std::mutex mMutex;
    std::condition_variable mChanged;
    unsigned int mPending = 0;
    std::string mReply;
};

std::vector<Request> readRequests(char const* file) {
    std::ifstream lines(file);
    std::vector<Request> requests;
    Request request;
    while (lines >> request.method && std::getline(lines, request.parameters)) {
        requests.push_back(request);
    }
    if (requests.empty()) {
        fail("no requests");
    }
    return requests;
}

void callOnce(char const* method) {
    std::string const text{std::istreambuf_iterator<char>(std::cin), {}};
    Calls calls;
    calls.send({method, text});
    std::cout << calls.waitFor(0);
}

void run(std::vector<Request> const& requests) {
    Calls calls;
    std::size_t next = 0;
    for (unsigned long count = 0; std::cin >> count;) {
        for (unsigned long sent = 0; sent < count; ++sent) {
            calls.send(requests[next++ % requests.size()]);
        }
        calls.waitFor(0);
        std::cout << count << std::endl;
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fail("call METHOD or run FILE");
    }
    if (std::string(argv[1]) == "call") {
        callOnce(argv[2]);
    } else {
        run(readRequests(argv[2]));
    }
    return 0;
}
