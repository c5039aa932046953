#pragma once

#include <functional>
#include <string>

/** The bus name and the object path of the service. */
constexpr char SERVICE_NAME[] = "com.veldan.service.Songlatch";
constexpr char SERVICE_PATH[] = "/com/veldan/service/Songlatch";

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
     * @throws Failure if none comes within the time
     */
    std::string call(char const* method, std::string const& parameters, int timeoutSeconds);

    bool serviceIsThere();

    using OnSignal = std::function<void(std::string const& name, std::string const& data)>;
    using OnPresence = std::function<void(bool isThere)>;

    /**
     * Reports a signal of the service from now on; for as long as the link lives the function must.
     * It is called on the library's thread. @throws Failure
     */
    void subscribe(char const* signal, OnSignal const& report);
    /** Reports when the service comes and goes, in the same way. */
    void subscribePresence(OnPresence const& report);

private:
    void* mConnection = nullptr;
};
