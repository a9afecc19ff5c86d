// The daemon's threads.
#pragma once

// Starts the bus thread. 0, or -1 with the reason logged.
int WEXOND_ThreadInit();

// Waits until the bus thread has ended.
void WEXOND_ThreadJoin();
