#include "files/MarkedTracks.h"

#include "files/CConfigInfo.h"

namespace {

constexpr char HEAD[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
                        "<!DOCTYPE plist PUBLIC \"-//Apple Inc//DTD PLIST 1.0//EN\" "
                        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\r\n"
                        "<plist version=\"1.0\">\r\n"
                        "<dict>\r\n";
constexpr char TRACKS[] = "<key>MarkedTracks</key>\r\n<array>\r\n";
constexpr char END[] = "</array>\r\n</dict>\r\n</plist>\r\n";

} // namespace

std::string markedTracks(CConfigInfo const& config, std::string const& dictionaries) {
    return HEAD + config.toAppleXML() + TRACKS + dictionaries + END;
}
