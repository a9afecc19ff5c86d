// Names of users and groups, from the system's own files.
#pragma once

#include <cstdint>

// The name of an id by /etc/passwd, or by /etc/group: `name` is to be freed by the caller, and null where the id has
// none. 0, or -1 where that could not be found out now, for want of a descriptor or memory.
int name_of_user(uint32_t id, char *&name);
int name_of_group(uint32_t id, char *&name);

// The id of a name by the same files, 0 where they have none of it. 0, or -1 as above.
int id_of_user(const char *name, uint32_t &id);
int id_of_group(const char *name, uint32_t &id);
