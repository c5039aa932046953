#include "support/LogFault.h"

#include "service/stdTools.h"

#include <optional>
#include <utility>

namespace {

struct Fault {
    std::string beginning;
    std::function<void()> action;
};

std::optional<Fault> logFault;

} // namespace

LogFault::LogFault(std::string beginning, std::function<void()> action) {
    logFault = Fault{std::move(beginning), std::move(action)};
}
LogFault::~LogFault() {
    logFault.reset();
}

extern "C" {

// stdTools::Output under the linker's names.
void realOutput(
    stdTools const* self, std::string source, std::string message,
    stdTools::ErrorLevel level) __asm__("__real__ZNK8stdTools6OutputENSt7__cxx1112basic_"
                                        "stringIcSt11char_traitsIcESaIcEEES5_NS_10ErrorLevelE");
void wrappedOutput(
    stdTools const* self, std::string source, std::string message,
    stdTools::ErrorLevel level) __asm__("__wrap__ZNK8stdTools6OutputENSt7__cxx1112basic_"
                                        "stringIcSt11char_traitsIcESaIcEEES5_NS_10ErrorLevelE");

void wrappedOutput(stdTools const* self, std::string source, std::string message,
                   stdTools::ErrorLevel level) {
    if (logFault && message.compare(0, logFault->beginning.size(), logFault->beginning) == 0) {
        std::function<void()> const action = std::move(logFault->action);
        logFault.reset();
        action();
        return;
    }
    realOutput(self, std::move(source), std::move(message), level);
}
}
