// Not getpwuid(): it may ask services over the network, and the bus would wait with it; and the C library ends the
// process where memory is out at the wrong moment.
#include "names.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

// Whether the line ("name:password:id:...") is that of the id; if so, it ends behind the name from now on.
bool take_name(char *line, uint32_t id)
{
    char *password = strchr(line, ':');
    char *number = !password ? nullptr : strchr(password + 1, ':');
    if (!number)
        return false;
    char *end;
    unsigned long value = strtoul(number + 1, &end, 10);
    *password = '\0';
    return end != number + 1 && value == id;
}

int find_name(const char *path, uint32_t id, char *&name)
{
    name = nullptr;
    FILE *file = fopen(path, "re");
    if (!file)
        return errno == EMFILE || errno == ENFILE || errno == ENOMEM ? -1 : 0;
    size_t capacity = 0;
    bool found = false;
    while (!found && getline(&name, &capacity, file) >= 0)
        found = take_name(name, id);
    int result = found || feof(file) ? 0 : -1;
    fclose(file);
    if (!found) {
        free(name);
        name = nullptr;
    }
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
