#include "radio/InputFeed.h"

#include <iostream>

namespace {

/**
 * The lines of an event are printed within a moment, events about once a second: after this silence
 * the event that came last is whole.
 */
constexpr std::chrono::milliseconds QUIET(500);

} // namespace

InputFeed::InputFeed(std::string const& path, std::unique_ptr<InputReader> reader,
                     Handlers handlers)
    : mReader(std::move(reader)), mHandlers(std::move(handlers)),
      mInput(path, {[this](std::string_view bytes) { take(bytes); }, [this] { mReader->endLine(); },
                    [this] {
                        finish();
                        mHandlers.end();
                    }}),
      mQuiet([this] { mReader->settle(); }), mTerminalLines([this](std::string_view line) {
          if (line.empty()) {
              mHandlers.press();
          }
      }) {}

void InputFeed::join(Loop& loop) {
    loop.add(mInput);
    loop.add(mQuiet);
}

void InputFeed::finish() {
    mQuiet.stop();
    mReader->finish();
    complain();
}

void InputFeed::take(std::string_view bytes) {
    mReader->feed(bytes);
    if (mReader->isWaiting()) {
        mQuiet.start(QUIET);
    } else {
        mQuiet.stop();
    }
    if (mInput.isTerminal()) {
        mTerminalLines.feed(bytes);
    }
    complain();
}

void InputFeed::complain() {
    if (mReader->damagedLines() != 0 && !mComplained) {
        mComplained = true;
        std::cerr << "songlatch-radio: a line of " << mInput.name()
                  << " is damaged or of another form and is skipped, as are others like it. See "
                     "--format.\n";
    }
}
