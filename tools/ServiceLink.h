#pragma once

#include <functional>
#include <string>

/** A program on the bus that the client speaks to. */
struct Peer {
    char const* name;  ///< its bus name, which is its interface too
    char const* path;  ///< its object path
    char const* title; ///< what people call it
    char const* cure;  ///< what to do when it is not there
};

constexpr Peer TAGGING_SERVICE = {
    "com.veldan.service.Songlatch", "/com/veldan/service/Songlatch", "the service",
    "Start it (systemctl start songlatch); songlatchctl doctor looks for the cause."};
constexpr Peer MEDIA_SERVICE = {"com.veldan.service.Media", "/com/veldan/service/Media",
                                "the media service",
                                "Start it; without it the service knows of no iPod."};
constexpr Peer RADIO = {"com.veldan.service.Radio", "/com/veldan/service/Radio", "the radio side",
                        "Start songlatch-radio."};

/** Where the bus is looked for: DBUS_STARTER_ADDRESS, DBUS_SYSTEM_BUS_ADDRESS, the system's own. */
std::string busAddress();

/** A connection to the bus on which the service is. One at a time, by one thread. */
class ServiceLink {
public:
    /** @throws Failure if there is no bus */
    ServiceLink();
    ~ServiceLink();
    ServiceLink(ServiceLink const&) = delete;
    ServiceLink& operator=(ServiceLink const&) = delete;

    /**
     * Calls a method and waits for the answer.
     * @return the answer's JSON text
     * @throws Failure if none comes within the time: what happened, where, and what to do
     */
    std::string call(Peer const& peer, char const* method, std::string const& parameters,
                     int timeoutSeconds);

    bool isThere(Peer const& peer);

    using OnSignal = std::function<void(std::string const& name, std::string const& data)>;
    using OnPresence = std::function<void(bool isThere)>;

    /**
     * Reports a signal of a peer from now on; for as long as the link lives the function must.
     * It is called on the library's thread. @throws Failure
     */
    void subscribe(Peer const& peer, char const* signal, OnSignal const& report);
    /** Reports when a peer comes and goes, in the same way. */
    void subscribePresence(Peer const& peer, OnPresence const& report);

private:
    void* mConnection = nullptr;
};
