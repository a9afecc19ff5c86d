// bench-bare SOCKET COUNT: puts COUNT objects with one method on the bus, bench.1 and so on, and serves them. `noop`
// replies with an empty table: the least that a method call costs.

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/bus.h"

namespace
{

int noop(ubus_context *context, ubus_object *, ubus_request_data *request, const char *, blob_attr *)
{
    static blob_buf reply;
    blob_buf_init(&reply, 0);
    return ubus_send_reply(context, request, reply.head);
}

const ubus_method methods[] = {UBUS_METHOD_NOARG("noop", noop)};
ubus_object_type type = bus_object_type("bench", methods);

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    ubus_context *context = ubus_connect(argv[1]);
    if (!context)
        return 1;
    ubus_add_uloop(context);
    std::vector<ubus_object> objects(strtoul(argv[2], nullptr, 10));
    for (size_t i = 0; i < objects.size(); i++) {
        char *name;
        if (asprintf(&name, "bench.%zu", i + 1) < 0)
            return 1;
        objects[i].name = name;
        objects[i].type = &type;
        objects[i].methods = methods;
        objects[i].n_methods = ARRAY_SIZE(methods);
        if (ubus_add_object(context, &objects[i]))
            return 1;
    }
    uloop_run();
    return 0;
}
