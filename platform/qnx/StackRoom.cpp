#include "platform/StackRoom.h"

#include <alloca.h>

std::size_t stackRoom() {
    return __stackavail();
}
