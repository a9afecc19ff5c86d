#include "core/families.h"

#include <cstring>

Families families;

ubus_object *static_object(const char *name)
{
    for (ubus_object *object : families.objects)
        if (strcmp(object->name, name) == 0)
            return object;
    return nullptr;
}
