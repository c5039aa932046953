#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct DBusConnection;
struct DBusMessage;

/**
 * Questions to the bus itself: who owns a name, and in which process. Its answers are no texts, so
 * they do not come through the service's bus library.
 */
class BusDaemon {
public:
    /** @throws Failure if there is no bus */
    BusDaemon();

    /** The process that owns a name; none if nobody does, or the bus does not say. */
    std::optional<std::uint32_t> processOf(std::string const& name);
    /** The user that it belongs to. */
    std::optional<std::uint32_t> userOf(std::string const& name);

    /** Whether the bus would start a program for that name. */
    bool canStart(std::string const& name);

    /**
     * Calls a method with one text, without having a program started for it.
     * @return the name of the error that came back, empty for a reply
     */
    std::string errorOf(std::string const& name, std::string const& path, std::string const& method,
                        std::string const& text);

private:
    struct Close {
        void operator()(DBusConnection* connection) const;
    };
    struct Unref {
        void operator()(DBusMessage* message) const;
    };
    using Message = std::unique_ptr<DBusMessage, Unref>;

    Message ask(char const* method, std::string const* name);
    std::optional<std::uint32_t> number(char const* method, std::string const& name);

    std::unique_ptr<DBusConnection, Close> mConnection;
};
