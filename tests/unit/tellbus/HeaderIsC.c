/* The public header is for C programs too: this file has to compile, and to link. */
#include "tellbus/tellbus.h"

TELLBUS_tStatus statusOfUseFromC(void);

TELLBUS_tStatus statusOfUseFromC(void) {
    void* connection = 0;
    return TELLBUS_closeConnection(connection);
}
