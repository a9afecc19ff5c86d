// Descriptors that are passed along with messages: received beside the bytes of a read, sent with the first byte of the
// message that they belong to.
#pragma once

#include <sys/socket.h>

// Most descriptors that one send can pass.
inline constexpr int kMostPassed = 253;

// A control buffer with room for all that a read can bring: what found no room there the kernel would close at once,
// and might wait for it.
struct Passed {
    alignas(cmsghdr) char control[CMSG_SPACE(kMostPassed * sizeof(int))];
};

// Makes the buffer that of a message to be received.
void passed_prepare(Passed &passed, msghdr &header);

// The first descriptor that came, or -1; the others are closed.
int passed_take(msghdr &header);

// Makes the message to be sent pass a descriptor.
void passed_put(Passed &passed, msghdr &header, int descriptor);
