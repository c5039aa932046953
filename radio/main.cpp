// songlatch-radio: the radio side. See docs/radio.md.
//
// Lines of the input go through a reader into NowPlaying, which tells its changes to the bus or to
// standard output; presses go from their sources to the service on the bus. A Radio owns all of
// them and everything happens on the main thread, in the loop of bus/; the threads that wait for
// input only wake it. The members are made in the order in which they are needed: signals are
// blocked before the first thread, which then inherits that.
#include "radio/BusLoop.h"
#include "radio/Buttons.h"
#include "radio/ExitStatus.h"
#include "radio/InputFeed.h"
#include "radio/LocalTime.h"
#include "radio/NowPlaying.h"
#include "radio/Options.h"
#include "radio/PlainLoop.h"
#include "radio/RadioService.h"
#include "tellbus/tellbus.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>

namespace {

constexpr char PROGRAM[] = "songlatch-radio: ";

NowPlaying::Clock::duration overlapOf(Options const& options) {
    return std::chrono::duration_cast<NowPlaying::Clock::duration>(
        std::chrono::duration<double>(options.overlap));
}

Reception receptionOf(Options const& options) {
    return {options.frequency, options.program,
            options.pattern.empty() ? SongIdRule() : SongIdRule(options.pattern)};
}

void printChange(NowPlaying const& playing, Reception const& reception, std::string const& time) {
    auto const& song = playing.song();
    std::cout << changeLine(timeOr(time),
                            song ? songJson(*song, playing.station(), reception) : Json::Value())
              << std::endl;
    if (!std::cout) {
        throw std::runtime_error("cannot write to standard output");
    }
}

/** Prints what changes until the input ends. */
int print(Options const& options) {
    Reception const reception = receptionOf(options);
    NowPlaying playing(overlapOf(options));
    playing.onChange([&](std::string const& time) { printChange(playing, reception, time); });
    PlainLoop loop;
    InputFeed feed(options.input, makeReader(options.format, playing),
                   {[&] { loop.end(); }, [] {}});
    Signals signals([] {},
                    [&] {
                        feed.finish();
                        loop.end();
                    });
    loop.add(signals);
    feed.join(loop);
    loop.run();
    return Done;
}

/** The event loop of bus/ ends the process with status 0 where there is no bus; we say so before.
 */
bool busIsThere() {
    void* connection = nullptr;
    bool const isThere = !TELLBUS_FAILED(TELLBUS_initialize())
                         && !TELLBUS_FAILED(TELLBUS_getConnection(0, 0, &connection));
    TELLBUS_closeConnection(connection);
    TELLBUS_shutdown();
    return isThere;
}

/** The radio on the bus, until its input or a signal ends it. */
class Radio {
public:
    explicit Radio(Options const& options)
        : mReception(receptionOf(options)), mPlaying(overlapOf(options)),
          mSignals([this] { mService.press(); }, [this] { mLoop.end(); }),
          mFeed(options.input, makeReader(options.format, mPlaying),
                {[this] { endOfInput(); }, [this] { mService.press(); }}),
          mEnterKey([this] { mService.press(); }),
          mService(mPlaying, mReception, [this] { mFeed.settleSong(); }) {
        if (!options.control.empty()) {
            mControl.emplace(options.control, [this] { mService.press(); });
        }
        mPlaying.onChange([this](std::string const& time) { mService.announce(time); });
    }

    int run() {
        if (!mService.publish()) {
            std::cerr << PROGRAM
                      << "com.veldan.service.Radio is not to be had: another process owns it, or "
                         "the policy of the bus does not let this user. End that one, or install "
                         "the policy.\n";
            return Failed;
        }
        mLoop.add(mSignals);
        mLoop.add(mService.timer());
        if (!mFeed.input().isTerminal()) {
            mLoop.add(mEnterKey);
        }
        if (mControl) {
            mLoop.add(*mControl);
        }
        mFeed.join(mLoop);
        mLoop.run();
        return Done;
    }

private:
    /** A record stays what it said last; a receiver that has ended leaves nothing to be marked. */
    void endOfInput() {
        if (mFeed.input().isRecord()) {
            return;
        }
        mPlaying.loseSynchronization("");
        if (mService.isIdle()) {
            mLoop.end();
        } else {
            mService.onIdle([this] { mLoop.end(); });
        }
    }

    Reception mReception;
    NowPlaying mPlaying;
    Signals mSignals; ///< before the first thread, so that none takes a signal
    InputFeed mFeed;
    EnterKey mEnterKey;
    BusLoop mLoop;
    RadioService mService;
    std::optional<ControlFifo> mControl;
};

int run(Options const& options) {
    if (options.print) {
        return print(options);
    }
    if (!busIsThere()) {
        std::cerr << PROGRAM
                  << "there is no service bus. Is the system bus running, or "
                     "DBUS_SYSTEM_BUS_ADDRESS set? --print needs none.\n";
        return NoBus;
    }
    return Radio(options).run();
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    Options options;
    if (auto const early = readOptions(argc, argv, options)) {
        std::cout << early->output;
        std::cerr << early->error;
        return early->status;
    }
    try {
        return run(options);
    } catch (std::exception const& failure) {
        std::cerr << PROGRAM << failure.what() << "\n";
        return Failed;
    }
}
