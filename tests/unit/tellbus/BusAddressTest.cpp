#include "tellbus/BusAddress.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

TEST(BusAddress, LeavesOutWhichRunOfTheBusItNames) {
    struct {
        char const* given;
        char const* used;
    } const addresses[] = {
        {"unix:path=/run/bus", "unix:path=/run/bus"},
        {"unix:path=/run/bus,guid=0123abcd", "unix:path=/run/bus"},
        {"unix:guid=0123abcd,path=/run/bus", "unix:path=/run/bus"},
        {"unix:path=/run/bus,guid=0123;tcp:host=h,guid=4567,port=1",
         "unix:path=/run/bus;tcp:host=h,port=1"},
        {"unix:path=/run/myguid=1", "unix:path=/run/myguid=1"},
    };
    for (auto const& address : addresses) {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", address.given, 1);
        EXPECT_EQ(tellbus::busAddress(), address.used);
    }
}

} // namespace
