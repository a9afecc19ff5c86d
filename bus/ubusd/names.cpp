// Not getpwuid(): it may ask services over the network, and the bus would wait with it; and the C library ends the
// process where memory is out at the wrong moment.
#include "names.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

struct Entry {
    const char *name;
    uint32_t id;
};

// Parts the line ("name:password:id:..."), which ends behind the name from now on. False where it is none.
bool read_entry(char *line, Entry &entry)
{
    char *password = strchr(line, ':');
    char *number = !password ? nullptr : strchr(password + 1, ':');
    if (!number)
        return false;
    char *end;
    entry = {.name = line, .id = static_cast<uint32_t>(strtoul(number + 1, &end, 10))};
    *password = '\0';
    return end != number + 1;
}

// The first line that `is_wanted` says so of; its text is the caller's, or null. 0, or -1 where that could not be found
// out now.
template <typename Wanted> int find_entry(const char *path, char *&line, Entry &entry, const Wanted &is_wanted)
{
    line = nullptr;
    FILE *file = fopen(path, "re");
    if (!file)
        return errno == EMFILE || errno == ENFILE || errno == ENOMEM ? -1 : 0;
    size_t capacity = 0;
    bool found = false;
    while (!found && getline(&line, &capacity, file) >= 0)
        found = read_entry(line, entry) && is_wanted(entry);
    int result = found || feof(file) ? 0 : -1;
    fclose(file);
    if (!found) {
        free(line);
        line = nullptr;
    }
    return result;
}

int find_name(const char *path, uint32_t id, char *&name)
{
    Entry entry;
    return find_entry(path, name, entry, [id](const Entry &candidate) { return candidate.id == id; });
}

int find_id(const char *path, const char *name, uint32_t &id)
{
    Entry entry;
    char *line;
    int result = find_entry(path, line, entry, [name](const Entry &other) { return strcmp(other.name, name) == 0; });
    id = !line ? 0 : entry.id;
    free(line);
    return result;
}

} // namespace

int name_of_user(uint32_t id, char *&name)
{
    return find_name("/etc/passwd", id, name);
}

int name_of_group(uint32_t id, char *&name)
{
    return find_name("/etc/group", id, name);
}

int id_of_user(const char *name, uint32_t &id)
{
    return find_id("/etc/passwd", name, id);
}

int id_of_group(const char *name, uint32_t &id)
{
    return find_id("/etc/group", name, id);
}
