#pragma once

#include <functional>

/**
 * While it lives, something happens before each JSON text is parsed, on the thread that parses; the
 * parsing is the real thing (the linker wraps it, see CMakeLists.txt).
 */
class BeforeParsing {
public:
    explicit BeforeParsing(std::function<void()> happens);
    ~BeforeParsing();
    BeforeParsing(BeforeParsing const&) = delete;
    BeforeParsing& operator=(BeforeParsing const&) = delete;
};
