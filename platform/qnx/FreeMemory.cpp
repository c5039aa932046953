#include "platform/FreeMemory.h"

// The allocator gives free arenas back by itself.
void giveBackFreeMemory() {}
