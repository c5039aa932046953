#include "tellbus/Handles.h"

namespace tellbus {

Handles& handles() {
    static auto& tables = *std::make_unique<Handles>().release();
    return tables;
}

void dropHandlesOf(std::shared_ptr<Connection> const& connection) {
    auto const belongs = [&](auto const& object) {
        return !object.connection.owner_before(connection)
               && !connection.owner_before(object.connection);
    };
    handles().services.takeIf(belongs);
    handles().subscriptions.takeIf(belongs);
    handles().requests.takeIf(belongs);
}

} // namespace tellbus
