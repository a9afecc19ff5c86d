#include "commands.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

static constexpr int kDefaultTimeout = 30;

static int timeout_ms(const Options &options)
{
    return (options.timeout < 0 ? kDefaultTimeout : options.timeout) * 1000;
}

// -- list

static const char *type_name(uint32_t type)
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
static void add_method(blob_buf *buf, const blob_attr *method)
{
    void *table = blobmsg_open_table(buf, blobmsg_name(method));
    const blob_attr *argument;
    size_t rem;

    blobmsg_for_each_attr (argument, method, rem)
        if (blobmsg_check_attr(argument, true) && blobmsg_type(argument) == BLOBMSG_TYPE_INT32)
            blobmsg_add_string(buf, blobmsg_name(argument), type_name(blobmsg_get_u32(argument)));
    blobmsg_close_table(buf, table);
}

// The first value in the buffer, as one line; to be freed.
static char *format_value(const blob_buf &buf)
{
    return blobmsg_format_json(static_cast<blob_attr *>(blob_data(buf.head)), false);
}

static void print_method(const blob_attr *method)
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

static void print_path(ubus_context *, ubus_object_data *object, void *)
{
    puts(object->path);
}

static void print_object(ubus_context *, ubus_object_data *object, void *)
{
    blob_attr *method;
    size_t rem;

    printf("'%s' @%08x\n", object->path, object->id);
    blob_for_each_attr (method, object->signature, rem)
        print_method(method);
}

int list_objects(ubus_context *ctx, const Options &options, int argc, char **argv)
{
    bool const verbose = options.verbose && !options.simple;
    return ubus_lookup(ctx, argc > 0 ? argv[0] : nullptr, verbose ? print_object : print_path, nullptr);
}

// -- call

// A message of what the text says, or an empty one.
static bool build_message(blob_buf *buf, const char *json)
{
    return blob_buf_init(buf, 0) == 0 && (!json || blobmsg_add_json_from_string(buf, json));
}

static void print_reply(ubus_request *req, int, blob_attr *msg)
{
    const auto *options = static_cast<const Options *>(req->priv);

    if (char *text = blobmsg_format_json_indent(msg, true, options->simple ? -1 : 0)) {
        puts(text);
        free(text);
    }
}

// Scripts tell a failed call (the status counted down from 256) from an object that is not there; a person at a
// terminal gets the plain status.
static int call_failed(const Options &options, int argc, char **argv, int status)
{
    if (options.simple || isatty(STDERR_FILENO))
        return status;
    fputs("Command failed: ubus call ", stderr);
    for (int i = 0; i < argc; i++)
        fprintf(stderr, "%s ", argv[i]);
    fprintf(stderr, "(%s)\n", ubus_strerror(status));
    return -status;
}

int call_method(ubus_context *ctx, const Options &options, int argc, char **argv)
{
    blob_buf message = {};
    uint32_t id;

    if (!build_message(&message, argc > 2 ? argv[2] : nullptr)) {
        blob_buf_free(&message);
        return call_failed(options, argc, argv, UBUS_STATUS_PARSE_ERROR);
    }
    int status = ubus_lookup_id(ctx, argv[0], &id);
    if (status == UBUS_STATUS_OK) {
        status = ubus_invoke(ctx, id, argv[1], message.head, print_reply, const_cast<Options *>(&options),
                             timeout_ms(options));
        if (status != UBUS_STATUS_OK)
            status = call_failed(options, argc, argv, status);
    }
    blob_buf_free(&message);
    return status;
}

// -- the loop of subscribe, listen and wait_for

static int loop_status;

static void end_loop(int status)
{
    loop_status = status;
    uloop_end();
}

static void bus_lost(ubus_context *)
{
    end_loop(UBUS_STATUS_CONNECTION_FAILED);
}

static void time_is_up(uloop_timeout *)
{
    end_loop(UBUS_STATUS_TIMEOUT);
}

// How the loop was ended; a signal counts as no response.
static int run_loop(ubus_context *ctx, int timeout)
{
    uloop_timeout limit = {.cb = time_is_up};

    loop_status = UBUS_STATUS_NO_DATA;
    ctx->connection_lost = bus_lost;
    ubus_add_uloop(ctx);
    if (timeout > 0)
        uloop_timeout_set(&limit, timeout);
    uloop_run();
    uloop_timeout_cancel(&limit);
    return loop_status;
}

// -- subscribe and listen

static char *format_name(const char *name)
{
    blob_buf buf = {};
    char *text = nullptr;

    if (blob_buf_init(&buf, 0) == 0 && blobmsg_add_string(&buf, nullptr, name) == 0)
        text = format_value(buf);
    blob_buf_free(&buf);
    return text;
}

// Where nobody reads the lines any more, there is no use in going on.
static void print_message(const char *name, blob_attr *msg)
{
    char *name_text = format_name(name);
    char *text = blobmsg_format_json(msg, true);

    if (name_text && text)
        printf("{ %s: %s }\n", name_text, text);
    if (fflush(stdout) != 0)
        end_loop(UBUS_STATUS_SYSTEM_ERROR);
    free(name_text);
    free(text);
}

static int print_notification(ubus_context *, ubus_object *, ubus_request_data *, const char *method, blob_attr *msg)
{
    print_message(method, msg);
    return UBUS_STATUS_OK;
}

static void print_event(ubus_context *, ubus_event_handler *, const char *type, blob_attr *msg)
{
    print_message(type, msg);
}

static int refused(const Options &options, const char *name, int status)
{
    if (!options.simple)
        fprintf(stderr, "Error while registering for event '%s': %s\n", name, ubus_strerror(status));
    return -1;
}

// Their end is the time-out, or a signal.
static int print_until_the_end(ubus_context *ctx, const Options &options)
{
    int const status = run_loop(ctx, options.timeout < 0 ? 0 : timeout_ms(options));
    return status == UBUS_STATUS_TIMEOUT || status == UBUS_STATUS_NO_DATA ? UBUS_STATUS_OK : status;
}

static int subscribe_to(ubus_context *ctx, ubus_subscriber *subscriber, const char *path)
{
    uint32_t id;
    int const status = ubus_lookup_id(ctx, path, &id);
    return status == UBUS_STATUS_OK ? ubus_subscribe(ctx, subscriber, id) : status;
}

int subscribe_to_objects(ubus_context *ctx, const Options &options, int argc, char **argv)
{
    static ubus_subscriber subscriber = {.cb = print_notification};

    int status = ubus_register_subscriber(ctx, &subscriber);
    if (status != UBUS_STATUS_OK)
        return refused(options, argv[0], status);
    for (int i = 0; i < argc; i++) {
        status = subscribe_to(ctx, &subscriber, argv[i]);
        if (status != UBUS_STATUS_OK)
            return refused(options, argv[i], status);
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
        int const status = ubus_register_event_handler(ctx, &handler, argv[i]);
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

// -- wait_for

struct Awaited {
    ubus_event_handler added;
    char **paths; // that have not been seen
    int count;
};

static void note_seen(Awaited *awaited, const char *path)
{
    for (int i = 0; i < awaited->count;) {
        if (strcmp(awaited->paths[i], path) == 0)
            awaited->paths[i] = awaited->paths[--awaited->count];
        else
            i++;
    }
}

static void object_added(ubus_context *, ubus_event_handler *ev, const char *, blob_attr *msg)
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

static void object_there(ubus_context *, ubus_object_data *object, void *priv)
{
    note_seen(static_cast<Awaited *>(priv), object->path);
}

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
    return run_loop(ctx, timeout_ms(options));
}
