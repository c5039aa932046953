#pragma once

#include <string>
#include <vector>

enum class Health { Good, Doubtful, Bad, NotSeen };

/** What was found of one thing, and what to do about it. */
struct Finding {
    char const* area;
    Health health;
    std::string text;
    std::string cure; ///< empty where nothing is to be done
};

/** Looks at the bus, its policy, the service and the media service. */
class BusCheckup {
public:
    explicit BusCheckup(int timeoutSeconds);

    std::vector<Finding> bus() const { return {mBus}; }
    std::vector<Finding> policy() const;
    std::vector<Finding> service() const;
    std::vector<Finding> mediaService() const;

    /** Whether the service is there to be asked. */
    bool hasService() const { return mProcess != 0; }
    /** The service's process; 0 if there is none. */
    unsigned int process() const { return mProcess; }

private:
    int mTimeout;
    bool mHasBus = false;
    unsigned int mProcess = 0;
    Finding mBus;
};

/** Looks at the configuration, the files in its folder and the disk under them. */
class FolderCheckup {
public:
    /** @param serviceProcess the running service, to compare what it reads; 0 if there is none */
    FolderCheckup(std::string configuration, unsigned int serviceProcess);

    std::vector<Finding> configuration() const { return mConfiguration; }
    std::vector<Finding> files() const;
    std::vector<Finding> disk() const;

private:
    void readConfiguration();

    std::string mPath;
    unsigned int mServiceProcess;
    std::vector<Finding> mConfiguration;
    bool mHasFolder = false;
    std::string mFolder; ///< "." for the working directory
    int mLimit = 0;
};
