// A small agent: C with libubus alone. To build it: cc -o agent agent.c -lubus -lubox
#include <err.h>
#include <libubus.h>
#include <stdio.h>
#include <stdlib.h>

static struct ubus_context *bus;

static const char *text(struct blob_attr *table, const char *key)
{
    static char number[16];
    struct blob_attr *value;
    size_t rest;
    blobmsg_for_each_attr (value, table, rest)
        if (!strcmp(blobmsg_name(value), key) && blobmsg_type(value) == BLOBMSG_TYPE_STRING)
            return blobmsg_get_string(value);
        else if (!strcmp(blobmsg_name(value), key) && blobmsg_type(value) == BLOBMSG_TYPE_INT32)
            return snprintf(number, sizeof(number), "%u", blobmsg_get_u32(value)) > 0 ? number : "";
    return "";
}

static void keep(struct ubus_request *request, int type, struct blob_attr *message)
{
    *(struct blob_attr **)request->priv = blob_memdup(message);
}

// The reply, to be freed. A failure stands in it, and no reply is one too.
static struct blob_attr *call(const char *path, const char *method, struct blob_attr *arguments)
{
    struct blob_attr *reply = NULL;
    uint32_t id;
    if (ubus_lookup_id(bus, path, &id) || ubus_invoke(bus, id, method, arguments, keep, &reply, 30000) || !reply)
        errx(1, "%s %s: no answer", path, method);
    if (!strcmp(text(reply, "result"), "1"))
        errx(1, "%s %s: %s", path, method, text(reply, "failreason"));
    return reply;
}

static void list_stations(void)
{
    struct blob_attr *reply = call("wexond.laninfo", "list", NULL), *station;
    size_t rest;
    blobmsg_for_each_attr (station, blob_data(reply), rest)
        printf("%s %s %s\n", text(station, "mac"), text(station, "ipaddr"), text(station, "devname"));
    free(reply);
}

static size_t switch_networks(const char *radio, const char *name, struct blob_attr *arguments)
{
    struct blob_attr *reply = call(radio, "list", NULL), *network;
    char path[64];
    size_t rest, count = 0;
    blobmsg_for_each_attr (network, blob_data(reply), rest)
        if (!strcmp(text(network, "ssid"), name)) {
            snprintf(path, sizeof(path), "%s.%s", radio, text(network, "idx"));
            free(call(path, "set", arguments));
            count += puts(path) != EOF;
        }
    free(reply);
    return count;
}

static int tell(struct ubus_context *ctx, struct ubus_object *object, struct ubus_request_data *request,
                const char *name, struct blob_attr *message)
{
    return strcmp(name, "passworderror") ? 0 : dprintf(1, "wrong password: %s\n", text(message, "stamac")) < 0;
}

// Asked of every object, and of the daemon's again when it starts anew: what was subscribed to is then no more.
static bool notifies(struct ubus_context *ctx, struct ubus_subscriber *subscriber, const char *path)
{
    return !strcmp(path, "wexond.wifi");
}

int main(int count, char **words)
{
    struct ubus_subscriber subscriber = {.cb = tell, .new_obj_cb = notifies};
    static struct blob_buf arguments;
    if (!(bus = ubus_connect(getenv("UBUS_SOCKET")))) // null: where it always is
        errx(1, "no bus");
    if (count == 2 && !strcmp(words[1], "stations")) {
        list_stations();
    } else if (count == 4 && !strcmp(words[1], "switch")) {
        blob_buf_init(&arguments, 0);
        blobmsg_add_string(&arguments, "enable", strcmp(words[3], "on") ? "no" : "yes");
        if (!(switch_networks("wexond.wifi.1.ap", words[2], arguments.head) +
              switch_networks("wexond.wifi.2.ap", words[2], arguments.head)))
            errx(1, "no network %s", words[2]);
    } else if (count == 2 && !strcmp(words[1], "passwords")) {
        uloop_init();
        ubus_add_uloop(bus);
        ubus_register_subscriber(bus, &subscriber);
        while (!uloop_cancelled && !bus->sock.eof)
            uloop_run_timeout(60000);
        if (bus->sock.eof)
            errx(1, "the bus is gone");
    } else {
        errx(2, "stations, switch NAME on|off, or passwords");
    }
}
