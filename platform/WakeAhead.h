#pragma once

/**
 * Wakes a receiver of a connection's channel that sleeps, ahead of a pulse that is being made.
 *
 * To wake it takes time and to make the pulse takes time, and so the two go side by side. Where the
 * process has one processor only they cannot, and nobody is woken; that is asked at the first call.
 * A receiver that finds no pulse yet sleeps again, and several calls may wake it once. Which pulses
 * come, and in which order, does not depend on it.
 *
 * @param coid a connection of this process; any other has no effect
 */
void wakeAhead(int coid);
