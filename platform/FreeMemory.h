#pragma once

/**
 * Gives free memory back to the system, and has the allocator keep little of what is freed from now
 * on. Takes about as long as there is free memory to look through. Any thread.
 */
void giveBackFreeMemory();
