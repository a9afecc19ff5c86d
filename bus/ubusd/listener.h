// The bus socket's file.
#pragma once

// Listens on `path`, open to every user. Makes the folders on the way, and takes the place of a socket file that nobody
// answers on, but not of one somebody does answer on. The descriptor, or -1 with errno set.
int listener_open(const char *path);

// Removes the file, unless it has become somebody else's meanwhile.
void listener_remove(const char *path);
