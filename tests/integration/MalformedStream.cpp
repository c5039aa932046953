// Stands in at link time for the constructor of the service object, see --wrap in CMakeLists.txt:
// nothing that the running service does reads a tag stream, so this is how the exception of one
// comes to main().
#include "tagdata/CLinkedList.h"
#include "tagdata/HexParser.h"

// NOLINTNEXTLINE: the linker's name
extern "C" void __wrap__ZN12CTaggingImplC1Eb(void* self, bool debug);

void __wrap__ZN12CTaggingImplC1Eb(void* /*self*/, bool debug) {
    CHexParser const parser(0, debug);
    ListOwner<unsigned int> const bytes(parser.StringToList("00 01"));
    delete parser.ParseSingle(bytes.get());
}
