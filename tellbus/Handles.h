#pragma once

#include "tellbus/HandleTable.h"
#include "tellbus/Request.h"
#include "tellbus/Service.h"
#include "tellbus/Subscription.h"

namespace tellbus {

class Connection;

/** All that callers hold handles of, one table a kind. */
struct Handles {
    HandleTable<Connection> connections;
    HandleTable<Connection> closing; ///< until what was sent has left, or could not
    HandleTable<Service> services;
    HandleTable<Subscription> subscriptions;
    HandleTable<Request> requests;
};

/** The tables of the process. They outlive everything, so that late calls find them empty. */
Handles& handles();

/** Makes every handle stale that belongs to a connection. */
void dropHandlesOf(std::shared_ptr<Connection> const& connection);

} // namespace tellbus
