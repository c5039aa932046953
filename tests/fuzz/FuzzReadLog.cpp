#include "FuzzReader.h"
#include "radio/LogReader.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    readInPieces<LogReader>(data, size);
    return 0;
}
