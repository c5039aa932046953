#include "bus/CTellbusStatusTarget.h"

#include "bus/CTellbusEventTypes.h"
#include "bus/TellbusStatus.h"

#include <memory>

void CTellbusStatusTarget::onTellbusStatus(unsigned int const&, unsigned int status,
                                           void* context) {
    if (isTellbusFailure(status)) {
        return;
    }
    // The library calls nobody back after the completion, and the signals that it posted before
    // stood in front of it in the channel: nothing refers to the cookies any more.
    std::unique_ptr<CTellbusSubscription> const subscription(
        static_cast<CTellbusSubscription*>(context));
    std::unique_ptr<CTellbusEventCookie> const cookie(subscription->cookie);
    std::unique_ptr<CTellbusEventCookie> const completionCookie(subscription->completionCookie);
    std::unique_ptr<CTellbusRouterCookie> const routerCookie(subscription->routerCookie);
}
