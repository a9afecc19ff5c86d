// Closes descriptors that others passed along. The last close of one may block for as long as its owner likes (a TCP
// socket that lingers over unsent data, by itself or in the queue of a socket that was passed), so none of them is
// closed by the thread that serves: a helper does it, which starts with the first one.
#pragma once

#include <cstddef>

// Takes over the descriptor, which is closed soon.
void closer_close(int fd);

// How many are waiting for it.
size_t closer_waiting();
