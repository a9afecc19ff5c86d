/* The header as a C program uses it: it only has to compile without a warning. */
#include <libubus.h>

static int handle(struct ubus_context *ctx, struct ubus_object *obj, struct ubus_request_data *req, const char *method,
                  struct blob_attr *msg)
{
    (void)obj;
    (void)method;
    return ubus_send_reply(ctx, req, msg);
}

static const struct blobmsg_policy policy[] = {{.name = "id", .type = BLOBMSG_TYPE_INT32}};
static const struct ubus_method methods[] = {UBUS_METHOD("get", handle, policy), UBUS_METHOD_NOARG("list", handle)};
static struct ubus_object_type type = UBUS_OBJECT_TYPE("type", methods);
struct ubus_object c_object = {.name = "name", .type = &type, .methods = methods, .n_methods = ARRAY_SIZE(methods)};
