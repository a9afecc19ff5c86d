#include "descriptors.h"

#include <cstring>

#include "closer.h"

void passed_prepare(Passed &passed, msghdr &header)
{
    header.msg_control = passed.control;
    header.msg_controllen = sizeof(passed.control);
}

int passed_take(msghdr &header)
{
    int taken = -1;
    for (cmsghdr *part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS)
            continue;
        for (size_t at = CMSG_LEN(0); at + sizeof(int) <= part->cmsg_len; at += sizeof(int)) {
            int descriptor;
            memcpy(&descriptor, reinterpret_cast<const char *>(part) + at, sizeof(descriptor));
            if (taken < 0)
                taken = descriptor;
            else
                closer_close(descriptor);
        }
    }
    return taken;
}

void passed_put(Passed &passed, msghdr &header, int descriptor)
{
    header.msg_control = passed.control;
    header.msg_controllen = CMSG_SPACE(sizeof(descriptor));
    cmsghdr *part = CMSG_FIRSTHDR(&header);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof(descriptor));
    memcpy(CMSG_DATA(part), &descriptor, sizeof(descriptor));
}
