#include "FuzzReader.h"
#include "radio/JsonReader.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    readInPieces<JsonReader>(data, size);
    return 0;
}
