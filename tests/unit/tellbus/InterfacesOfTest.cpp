#include "tellbus/Introspection.h"

#include <gtest/gtest.h>

using namespace tellbus;

TEST(InterfacesOf, ADocumentAreItsInterfaceElements) {
    EXPECT_EQ(interfacesOf("<?xml?><node name='x'><interface name='a'></interface>\n"
                           "<interface name='b'></interface></node>"),
              "  <interface name='a'></interface>\n<interface name='b'></interface>\n");
}

TEST(InterfacesOf, ABareElementAreItself) {
    EXPECT_EQ(interfacesOf("<interface name='a'></interface>"),
              "  <interface name='a'></interface>\n");
}

TEST(InterfacesOf, DoNotIncludeWhatStandsInComments) {
    EXPECT_EQ(interfacesOf("<!-- <interface> --><interface name='a'><!-- x --></interface>"
                           "<!-- </interface> -->"),
              "  <interface name='a'></interface>\n");
}

TEST(InterfacesOf, AnythingElseAreNone) {
    for (char const* const text : {"", "<node/>", "<interface name='a'>", "</interface><interface",
                                   "<!-- <interface>", "nonsense"}) {
        EXPECT_EQ(interfacesOf(text), "") << text;
    }
}
