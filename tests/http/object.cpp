// http-test-object SOCKET: objects on the bus that do as they are asked, until the bus ends.
//   test           echo, wait {ms}, never, refuse {status}, pieces, types, big {size}, notify {name, count, text}
//   test.passing   leave: is not there any more

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/bus.h"

namespace
{

ubus_context *bus;

struct Waiting {
    ubus_request_data request;
    uloop_timeout timeout = {};
    uint32_t milliseconds;
};

uint32_t number(blob_attr *message, const char *name)
{
    const blobmsg_policy policy = {name, BLOBMSG_TYPE_INT32};
    blob_attr *field;
    blobmsg_parse(&policy, 1, &field, blob_data(message), static_cast<unsigned>(blob_len(message)));
    return field ? blobmsg_get_u32(field) : 0;
}

std::string text(blob_attr *message, const char *name)
{
    const blobmsg_policy policy = {name, BLOBMSG_TYPE_STRING};
    blob_attr *field;
    blobmsg_parse(&policy, 1, &field, blob_data(message), static_cast<unsigned>(blob_len(message)));
    return field ? blobmsg_get_string(field) : "";
}

struct Buffer {
    blob_buf buf = {};
    Buffer() { blob_buf_init(&buf, 0); }
    ~Buffer() { blob_buf_free(&buf); }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;
};

int echo(ubus_context *ctx, ubus_object *, ubus_request_data *request, const char *, blob_attr *message)
{
    return ubus_send_reply(ctx, request, message);
}

int wait(ubus_context *ctx, ubus_object *, ubus_request_data *request, const char *, blob_attr *message)
{
    auto *waiting = new Waiting{.request = {}, .milliseconds = number(message, "ms")};
    ubus_defer_request(ctx, request, &waiting->request);
    waiting->timeout.cb = [](uloop_timeout *timeout) {
        Waiting *waiting = container_of(timeout, Waiting, timeout);
        Buffer reply;
        blobmsg_add_u32(&reply.buf, "waited", waiting->milliseconds);
        ubus_send_reply(bus, &waiting->request, reply.buf.head);
        ubus_complete_deferred_request(bus, &waiting->request, 0);
        delete waiting;
    };
    uloop_timeout_set(&waiting->timeout, static_cast<int>(waiting->milliseconds));
    return 0;
}

int never(ubus_context *ctx, ubus_object *, ubus_request_data *request, const char *, blob_attr *)
{
    static ubus_request_data kept;
    ubus_defer_request(ctx, request, &kept);
    return 0;
}

int refuse(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *message)
{
    return static_cast<int>(number(message, "status"));
}

int pieces(ubus_context *ctx, ubus_object *, ubus_request_data *request, const char *, blob_attr *)
{
    for (const char *name : {"one", "two"}) {
        Buffer reply;
        blobmsg_add_string(&reply.buf, name, "");
        ubus_send_reply(ctx, request, reply.buf.head);
    }
    return 0;
}

int types(ubus_context *ctx, ubus_object *, ubus_request_data *request, const char *, blob_attr *)
{
    Buffer reply;
    blobmsg_add_u8(&reply.buf, "true", 1);
    blobmsg_add_u32(&reply.buf, "unsigned", UINT32_MAX);
    blobmsg_add_u64(&reply.buf, "long", UINT64_C(1) << 62);
    blobmsg_add_double(&reply.buf, "double", 1.5);
    blobmsg_add_string(&reply.buf, "text", "\"\\/\n\x01\xff");
    void *array = blobmsg_open_array(&reply.buf, "array");
    blobmsg_close_array(&reply.buf, array);
    return ubus_send_reply(ctx, request, reply.buf.head);
}

int big(ubus_context *ctx, ubus_object *, ubus_request_data *request, const char *, blob_attr *message)
{
    Buffer reply;
    blobmsg_add_string(&reply.buf, "text", std::string(number(message, "size"), 'x').c_str());
    return ubus_send_reply(ctx, request, reply.buf.head);
}

int notify(ubus_context *ctx, ubus_object *object, ubus_request_data *, const char *, blob_attr *message)
{
    const std::string name = text(message, "name");
    const uint32_t count = number(message, "count");
    for (uint32_t i = 0; i < count; i++) {
        Buffer data;
        blobmsg_add_u32(&data.buf, "number", i);
        blobmsg_add_string(&data.buf, "text", text(message, "text").c_str());
        ubus_notify(ctx, object, name.c_str(), data.buf.head, -1);
    }
    return 0;
}

int leave(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *);

const blobmsg_policy kWait[] = {{"ms", BLOBMSG_TYPE_INT32}};
const blobmsg_policy kNotify[] = {
    {"name", BLOBMSG_TYPE_STRING}, {"count", BLOBMSG_TYPE_INT32}, {"text", BLOBMSG_TYPE_STRING}};
const ubus_method kMethods[] = {
    UBUS_METHOD_NOARG("echo", echo),     UBUS_METHOD("wait", wait, kWait),       UBUS_METHOD_NOARG("never", never),
    UBUS_METHOD_NOARG("refuse", refuse), UBUS_METHOD_NOARG("pieces", pieces),    UBUS_METHOD_NOARG("types", types),
    UBUS_METHOD_NOARG("big", big),       UBUS_METHOD("notify", notify, kNotify),
};
const ubus_method kPassing[] = {UBUS_METHOD_NOARG("leave", leave)};

ubus_object_type test_type = bus_object_type("test", kMethods);
ubus_object_type passing_type = bus_object_type("passing", kPassing);
ubus_object test_object = {
    .name = "test", .type = &test_type, .methods = kMethods, .n_methods = static_cast<int>(std::size(kMethods))};
ubus_object passing_object = {.name = "test.passing",
                              .type = &passing_type,
                              .methods = kPassing,
                              .n_methods = static_cast<int>(std::size(kPassing))};

// When the call is answered, for which the object has to be there.
int leave(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    static uloop_timeout soon = {};
    soon.cb = [](uloop_timeout *) { ubus_remove_object(bus, &passing_object); };
    uloop_timeout_set(&soon, 0);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    bus = argc == 2 ? ubus_connect(argv[1]) : nullptr;
    if (!bus || ubus_add_object(bus, &test_object) != 0 || ubus_add_object(bus, &passing_object) != 0)
        return 1;
    bus->connection_lost = [](ubus_context *) { exit(0); };
    ubus_add_uloop(bus);
    puts("there");
    fflush(stdout);
    uloop_run();
    return 0;
}
