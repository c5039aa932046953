#pragma once

#include "rig/Workbench.h"
#include "rig/page/Access.h"
#include "rig/page/Board.h"

#include <memory>
#include <string>
#include <vector>

/** What the page is to show, and where. */
struct PageOptions {
    PageAddress address;
    std::vector<std::string> service; ///< the service and its arguments; empty: not ours to start
    std::string configuration;        ///< of the service
    std::string log = "/tmp/Songlatching.log"; ///< of the service
    std::string mounts; ///< for iPods that are attached on the page; empty: a new folder
};

/** The page of the whole unit: what feeds its board, what it can do, and its server. */
class Page {
public:
    /**
     * Starts everything and reports where the page is.
     * @throws std::runtime_error if something cannot be started
     */
    Page(PageOptions const& options, Workbench& workbench, ReportStream& report);
    ~Page();
    Page(Page const&) = delete;
    Page& operator=(Page const&) = delete;

private:
    struct Parts;

    Workbench& mWorkbench;
    ReportStream& mReport;
    std::unique_ptr<Parts> mParts;
};
