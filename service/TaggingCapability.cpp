#include "service/TaggingCapability.h"

#include "ipod/ipodlib.h"
#include "platform/ControlNode.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr char SOURCE[] = "CTaggingImpl_IsSupportTagging";

/** The capability that stands for tagging among those that the driver lists. */
constexpr std::uint16_t TAGGING = 8;
constexpr std::size_t CAPABILITYROOM = 9;

} // namespace

bool supportsTagging(stdTools const& log, std::string const& mountPoint) {
    // The whole is cut at a U+0000 in the mount point, so that the question goes to the very node
    // to which the tags would go. Test: OpenedNode.BothOpenWhatStandsBeforeAZeroInTheMountPoint.
    int const node = ipod_open((mountPoint + CONTROLNODE).c_str(), O_RDWR);
    if (node == -1) {
        log.Output(SOURCE, "open </.FS_info./control> fail", stdTools::Message);
        return false;
    }
    std::array<std::uint16_t, CAPABILITYROOM> capabilities{};
    int const count = ipod_get_capabilities(node, capabilities.data(), CAPABILITYROOM, 0);
    if (count == -1) {
        log.Output(SOURCE, "ipod_get_capabilities fail", stdTools::Message);
    }
    close(node);
    // The driver may know more capabilities than there was room for.
    auto const filled = std::clamp<std::ptrdiff_t>(count, 0, CAPABILITYROOM);
    return std::count(capabilities.begin(), capabilities.begin() + filled, TAGGING) > 0;
}
