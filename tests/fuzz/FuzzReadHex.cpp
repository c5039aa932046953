#include "FuzzReader.h"
#include "radio/HexReader.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    readInPieces<HexReader>(data, size);
    return 0;
}
