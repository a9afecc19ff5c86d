#include "commands.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace
{

int timeout_ms(const Options &options)
{
    constexpr int kDefaultTimeoutMs = 30 * 1000;
    return options.has_timeout ? options.timeout : kDefaultTimeoutMs;
}

// -- list

const char *type_name(uint32_t type)
{
    switch (type) {
    case BLOBMSG_TYPE_INT8:
        return "Boolean";
    case BLOBMSG_TYPE_INT32:
        return "Integer";
    case BLOBMSG_TYPE_STRING:
        return "String";
    case BLOBMSG_TYPE_ARRAY:
        return "Array";
    case BLOBMSG_TYPE_TABLE:
        return "Table";
    }
    return "(unknown)";
}

// A signature's integers replaced by the types that they stand for.
void add_method(blob_buf *buf, blob_attr *method)
{
    void *table = blobmsg_open_table(buf, blobmsg_name(method));
    blob_attr *argument;
    size_t rem;

    blobmsg_for_each_attr (argument, method, rem)
        if (blobmsg_check_attr(argument, true) && blobmsg_type(argument) == BLOBMSG_TYPE_INT32)
            blobmsg_add_string(buf, blobmsg_name(argument), type_name(blobmsg_get_u32(argument)));
    blobmsg_close_table(buf, table);
}

// The first value in the buffer, as one line; to be freed.
char *format_value(const blob_buf &buf)
{
    return blobmsg_format_json(static_cast<blob_attr *>(blob_data(buf.head)), false);
}

void print_method(blob_attr *method)
{
    blob_buf buf = {};

    if (!blobmsg_check_attr(method, true) || blobmsg_type(method) != BLOBMSG_TYPE_TABLE)
        return;
    if (blob_buf_init(&buf, 0) != 0)
        return;
    add_method(&buf, method);
    if (char *text = format_value(buf)) {
        printf("\t%s\n", text);
        free(text);
    }
    blob_buf_free(&buf);
}

void print_path(ubus_context *, ubus_object_data *object, void *)
{
    puts(object->path);
}

void print_object(ubus_context *, ubus_object_data *object, void *)
{
    blob_attr *method;
    size_t rem;

    printf("'%s' @%08x\n", object->path, object->id);
    blob_for_each_attr (method, object->signature, rem)
        print_method(method);
}

} // namespace

int list_objects(ubus_context *ctx, const Options &options, int argc, char **argv)
{
    const bool verbose = options.verbose && !options.simple;
    return ubus_lookup(ctx, argc > 0 ? argv[0] : nullptr, verbose ? print_object : print_path, nullptr);
}

namespace
{

// -- call

// A message of what the text says, or an empty one.
bool build_message(blob_buf *buf, const char *json)
{
    return blob_buf_init(buf, 0) == 0 && (!json || blobmsg_add_json_from_string(buf, json));
}

void print_reply(ubus_request *req, int, blob_attr *msg)
{
    const auto *options = static_cast<const Options *>(req->priv);

    if (char *text = blobmsg_format_json_indent(msg, true, options->simple ? -1 : 0)) {
        puts(text);
        free(text);
    }
}

// Scripts tell a failed call (the status counted down from 256) from an object that is not there; a person at a
// terminal gets the plain status.
int call_failed(const Options &options, int argc, char **argv, int status)
{
    if (options.simple || isatty(STDERR_FILENO))
        return status;
    fputs("Command failed: ubus call ", stderr);
    for (int i = 0; i < argc; i++)
        fprintf(stderr, "%s ", argv[i]);
    fprintf(stderr, "(%s)\n", ubus_strerror(status));
    return -status;
}

int call_object(ubus_context *ctx, const Options &options, uint32_t id, int argc, char **argv, blob_attr *message)
{
    const int timeout = timeout_ms(options);
    ubus_request request;
    int status;

    if (timeout < 0) { // no time at all
        status = ubus_invoke_async(ctx, id, argv[1], message, &request);
        if (status == UBUS_STATUS_OK)
            status = UBUS_STATUS_TIMEOUT;
    } else {
        status = ubus_invoke(ctx, id, argv[1], message, print_reply, const_cast<Options *>(&options), timeout);
    }
    return status == UBUS_STATUS_OK ? status : call_failed(options, argc, argv, status);
}

} // namespace

int call_method(ubus_context *ctx, const Options &options, int argc, char **argv)
{
    blob_buf message = {};
    uint32_t id;

    if (!build_message(&message, argc > 2 ? argv[2] : nullptr)) {
        blob_buf_free(&message);
        return call_failed(options, argc, argv, UBUS_STATUS_PARSE_ERROR);
    }
    int status = ubus_lookup_id(ctx, argv[0], &id);
    if (status == UBUS_STATUS_NO_DATA) // it is there, but not for this client
        status = call_failed(options, argc, argv, UBUS_STATUS_NOT_FOUND);
    else if (status == UBUS_STATUS_OK)
        status = call_object(ctx, options, id, argc, argv, message.head);
    blob_buf_free(&message);
    return status;
}

namespace
{

// -- the loop of subscribe, listen and wait_for

int loop_status;

void end_loop(int status)
{
    loop_status = status;
    uloop_end();
}

// A script that goes on when the bus is back relies on it: who wants to know sets a time-out.
void stay(ubus_context *) {}

void time_is_up(uloop_timeout *)
{
    end_loop(UBUS_STATUS_TIMEOUT);
}

enum class Limit { kNone, kTimeout };

// How the loop was ended; a signal counts as no time left. A time-out that is not above 0 is over at once.
int run_loop(ubus_context *ctx, Limit limit, int timeout)
{
    uloop_timeout timer = {.cb = time_is_up};

    loop_status = UBUS_STATUS_TIMEOUT;
    ctx->connection_lost = stay;
    ubus_add_uloop(ctx);
    if (limit == Limit::kTimeout)
        uloop_timeout_set(&timer, timeout);
    uloop_run();
    uloop_timeout_cancel(&timer);
    return loop_status;
}

// -- subscribe and listen

// Deliberate: the name as it is, nothing escaped, as every router's tool prints it. Whether anybody reads the lines
// does not matter.
void print_message(const char *name, blob_attr *msg)
{
    char *text = blobmsg_format_json(msg, true);

    if (text)
        printf("{ \"%s\": %s }\n", name, text);
    fflush(stdout);
    free(text);
}

int print_notification(ubus_context *, ubus_object *, ubus_request_data *, const char *method, blob_attr *msg)
{
    print_message(method, msg);
    return UBUS_STATUS_OK;
}

void print_event(ubus_context *, ubus_event_handler *, const char *type, blob_attr *msg)
{
    print_message(type, msg);
}

int refused(const Options &options, const char *name, int status)
{
    if (!options.simple)
        fprintf(stderr, "Error while registering for event '%s': %s\n", name, ubus_strerror(status));
    return -1;
}

// Their end is the time-out, or a signal.
int print_until_the_end(ubus_context *ctx, const Options &options)
{
    const bool is_limited = options.has_timeout && options.timeout != 0;
    run_loop(ctx, is_limited ? Limit::kTimeout : Limit::kNone, options.timeout);
    return UBUS_STATUS_OK;
}

int subscribe_to(ubus_context *ctx, ubus_subscriber *subscriber, const char *path)
{
    uint32_t id;
    const int status = ubus_lookup_id(ctx, path, &id);
    return status == UBUS_STATUS_OK ? ubus_subscribe(ctx, subscriber, id) : status;
}

} // namespace

int subscribe_to_objects(ubus_context *ctx, const Options &options, int argc, char **argv)
{
    static ubus_subscriber subscriber = {.cb = print_notification};

    if (argc == 0) {
        if (!options.simple)
            fputs("You need to specify an object to subscribe to\n", stderr);
        return -1;
    }
    int status = ubus_register_subscriber(ctx, &subscriber);
    if (status != UBUS_STATUS_OK)
        return refused(options, argv[0], status);
    for (int i = 0; i < argc; i++) {
        status = subscribe_to(ctx, &subscriber, argv[i]);
        if (status != UBUS_STATUS_OK)
            return refused(options, argv[0], status); // deliberate: the first path, whichever failed
    }
    return print_until_the_end(ctx, options);
}

int listen_for_events(ubus_context *ctx, const Options &options, int argc, char **argv)
{
    static ubus_event_handler handler = {.cb = print_event};
    static char everything[] = "*";
    char *all[] = {everything};

    if (argc == 0) {
        argc = 1;
        argv = all;
    }
    for (int i = 0; i < argc; i++) {
        const int status = ubus_register_event_handler(ctx, &handler, argv[i]);
        if (status != UBUS_STATUS_OK)
            return refused(options, argv[i], status);
    }
    return print_until_the_end(ctx, options);
}

// -- send

int send_event(ubus_context *ctx, const Options &, int argc, char **argv)
{
    blob_buf message = {};
    int status = UBUS_STATUS_PARSE_ERROR;

    if (build_message(&message, argc > 1 ? argv[1] : nullptr))
        status = ubus_send_event(ctx, argv[0], message.head);
    blob_buf_free(&message);
    return status;
}

namespace
{

// -- wait_for

struct Awaited {
    ubus_event_handler added;
    char **paths; // that have not been seen
    int count;
};

void note_seen(Awaited *awaited, const char *path)
{
    for (int i = 0; i < awaited->count;)
        if (strcmp(awaited->paths[i], path) == 0)
            awaited->paths[i] = awaited->paths[--awaited->count];
        else
            i++;
}

void object_added(ubus_context *, ubus_event_handler *ev, const char *, blob_attr *msg)
{
    static const blobmsg_policy policy = {"path", BLOBMSG_TYPE_STRING};
    Awaited *awaited = container_of(ev, Awaited, added);
    blob_attr *path;

    blobmsg_parse(&policy, 1, &path, blob_data(msg), blob_len(msg));
    if (path)
        note_seen(awaited, blobmsg_get_string(path));
    if (awaited->count == 0)
        end_loop(UBUS_STATUS_OK);
}

void object_there(ubus_context *, ubus_object_data *object, void *priv)
{
    note_seen(static_cast<Awaited *>(priv), object->path);
}

} // namespace

// In this order no object is missed.
int wait_for_objects(ubus_context *ctx, const Options &options, int argc, char **argv)
{
    static Awaited awaited = {.added = {.cb = object_added}};

    awaited.paths = argv;
    awaited.count = argc;
    int status = ubus_register_event_handler(ctx, &awaited.added, "ubus.object.add");
    if (status == UBUS_STATUS_OK)
        status = ubus_lookup(ctx, nullptr, object_there, &awaited);
    if (status != UBUS_STATUS_OK || awaited.count == 0)
        return status;
    return run_loop(ctx, Limit::kTimeout, timeout_ms(options));
}
