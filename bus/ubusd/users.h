// How many connections each user of the system has. While they all count against one limit, a user may have no more of
// them than are left for the others; the superuser and the broker's own user may have all.
#pragma once

#include <sys/types.h>

#include "ids.h"

struct User {
    Id id; // the system's
    unsigned connections;
};

// How many connections there may be in all; without a call, any number.
void users_limit(unsigned most);

// How many there are.
unsigned users_connections();

// Whether all connections there may be are there.
bool users_are_full();

// Counts a connection of the user; null where it may have no more, or memory is out.
User *user_connect(uid_t uid);
void user_disconnect(User *user);
