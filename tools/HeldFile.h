#pragma once

#include <functional>
#include <string>

/**
 * A file that another process may rewrite at any moment, in place or by a rename, and without a
 * lock. Nothing that such a process writes is ever lost by what happens here.
 */
class HeldFile {
public:
    /**
     * @param quiet returns once the other process has done all that it had begun before; it may
     *        throw a Failure if that cannot be told
     */
    HeldFile(std::string path, std::function<void()> quiet);

    /** The bytes of the file now. @throws Failure */
    std::string read() const;

    /** Makes of the bytes of the file those that it shall have. */
    using Change = std::function<std::string(std::string const& text)>;

    /**
     * Changes the file while nobody else has it open; whoever opens it meanwhile waits.
     * @param change must not open the file
     * @return false if it leaves the bytes as they are
     * @throws Failure if it cannot be done, or what the change throws; the file is then as it was,
     *         or, if the storage failed, its new bytes lie beside it
     */
    bool change(Change const& change);

private:
    std::string mPath;
    std::function<void()> mQuiet;
};
