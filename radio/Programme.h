#pragma once

#include "radio/Record.h"

#include <map>
#include <optional>
#include <string>

/** What is known of the station; an empty text is not known. All texts are clean. */
struct Station {
    struct Service {
        std::string name;
        std::string type;
    };

    std::string name;
    std::string slogan;
    std::string country;
    std::string facilityId;
    std::map<int, Service> programs; ///< by their number, the main program is 1

    /** Takes over what the news say and keeps the rest. */
    void update(Station const& news);
};

/**
 * Takes what the readers understand. `time` is the moment as the input itself tells it, empty if it
 * does not.
 */
class Programme {
public:
    /**
     * One event. It replaces all that the one before it said.
     * @param other the second candidate, where the input could not tell which of two songs is meant
     */
    virtual void takeRecord(Record const& record, std::optional<Record> const& other,
                            std::string const& time) = 0;
    virtual void takeStation(Station const& news, std::string const& time) = 0;
    /** The receiver hears nothing any more. */
    virtual void loseSynchronization(std::string const& time) = 0;

protected:
    ~Programme() = default;
};
