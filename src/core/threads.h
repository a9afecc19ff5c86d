// The daemon's threads.
#pragma once

// Starts the bus thread, then those of the event relay. 0, or -1 with the reason logged; threads already started run
// on.
int WEXOND_ThreadInit();

// Waits until the bus thread has ended.
void WEXOND_ThreadJoin();
