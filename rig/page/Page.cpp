#include "rig/page/Page.h"

#include "rig/page/Actions.h"
#include "rig/page/BusWatch.h"
#include "rig/page/FileWatch.h"
#include "rig/page/PageServer.h"
#include "rig/page/ServiceProcess.h"
#include "rig/page/UnitClient.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace {

std::string mountsOf(PageOptions const& options) {
    if (!options.mounts.empty()) {
        return options.mounts;
    }
    std::string folder =
        (std::filesystem::temp_directory_path() / "songlatch-ipods-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
        throw std::runtime_error("cannot make " + folder + ": " + std::strerror(errno)
                                 + "; name a folder with --mounts");
    }
    return folder;
}

} // namespace

/** In the order in which they need each other; the server, which uses all, goes first. */
struct Page::Parts {
    Parts(PageOptions const& options, Workbench& workbench)
        : bus(board), files(options.configuration, options.log, board), unit(board),
          service(options.service.empty()
                      ? nullptr
                      : std::make_unique<ServiceProcess>(options.service, board)),
          actions(workbench, unit, service.get(), mountsOf(options)),
          server(options.address, board, actions, files) {}

    Board board;
    BusWatch bus;
    FileWatch files;
    UnitClient unit;
    std::unique_ptr<ServiceProcess> service;
    Actions actions;
    PageServer server;
};

Page::Page(PageOptions const& options, Workbench& workbench, ReportStream& report)
    : mWorkbench(workbench), mReport(report), mParts(std::make_unique<Parts>(options, workbench)) {
    Board& board = mParts->board;
    report.watch([&board](Json::Value const& line) { board.append("reports", line); });
    workbench.watchDevices([&board](Json::Value const& devices) { board.set("devices", devices); });
    if (mParts->service) {
        mParts->service->start();
    }
    Json::Value fields;
    fields["url"] = mParts->server.address().url();
    if (!options.address.isLoopback()) {
        fields["warning"] = "whoever reaches this address can command the rig";
    }
    report.line("page", fields);
}

Page::~Page() {
    mWorkbench.watchDevices(nullptr);
    mReport.watch(nullptr);
}
