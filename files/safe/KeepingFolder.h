#pragma once

#include <string>
#include <utility>
#include <vector>

/**
 * The folder of the three data files, written so that a kill or a power cut at any moment leaves
 * either the old state or the new one.
 *
 * One process at a time holds it, by a lock on a file in it which the system lets go when the
 * process ends, however it ends. Beside the files themselves only names that begin with a full stop
 * are made while writing, and the names of what was set aside.
 *
 * Every operation that can fail returns 0 or an errno value. Main thread only.
 */
class KeepingFolder {
public:
    /** A file's name and its whole new text. */
    using Change = std::pair<std::string, std::string>;

    /** What a file holds. */
    struct Content {
        int error = 0;         ///< not 0: nothing is known of the file
        bool missing = false;  ///< there is none
        bool unusable = false; ///< it is there and no file that can be read
        int fd = -1;           ///< open for reading otherwise; the caller closes it
    };

    explicit KeepingFolder(std::string path);
    ~KeepingFolder();
    KeepingFolder(KeepingFolder const&) = delete;
    KeepingFolder& operator=(KeepingFolder const&) = delete;

    std::string const& path() const { return mPath; }

    /** Takes the lock. EWOULDBLOCK means that another process holds it. Again is allowed. */
    int lock();

    /** Ends what a killed process had begun: completes it if it was decided, forgets it if not. */
    int recover();

    /** The part of it that a failing disk may have left undone in this process. */
    int finish();

    /** Replaces the files, all of them or none. What is returned as 0 survives a power cut. */
    int commit(std::vector<Change> const& changes);

    Content open(std::string const& name) const;

    /**
     * Gives a damaged file a second name that tells the time, so that the next commit() replaces
     * the first name only; of five such the oldest goes. What is no file is moved away.
     */
    int setAside(std::string const& name);

private:
    /** When a file was set aside, and a number for those of one second. */
    using Aside = std::pair<std::string, int>;

    static std::string nameOf(Aside const& aside);
    /** All that was set aside of a file, the oldest first. */
    std::vector<Aside> asideOf(std::string const& name) const;
    std::string at(std::string const& name) const;
    int writeBeside(std::string const& temporary, std::string const& text) const;
    int replaceOne(Change const& change) const;
    int replaceAll(std::vector<Change> const& changes);
    int complete();
    int flushNames() const;

    std::string mPath;
    int mLock = -1;
};
