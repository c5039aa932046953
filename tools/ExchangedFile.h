#pragma once

#include <functional>
#include <string>

/**
 * A file that another process may rewrite at any moment, in place or by a rename, and without a
 * lock. Nothing that such a process writes is ever lost by what happens here.
 */
class ExchangedFile {
public:
    /**
     * @param quiet returns once the other process has done all that it had begun before; it may
     *        throw a Failure if that cannot be told
     */
    ExchangedFile(std::string path, std::function<void()> quiet);

    /** The bytes of the file now. @throws Failure */
    std::string read() const;

    /**
     * Puts other bytes in the place of the expected ones, if nobody has written meanwhile.
     * @return false if somebody has; the file then holds what they wrote
     * @throws Failure if it cannot be done; the file is then as it was
     */
    bool replace(std::string const& expected, std::string const& replacement);

private:
    void waitForQuiet() const;

    std::string mPath;
    std::function<void()> mQuiet;
};
