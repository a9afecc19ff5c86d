#include "core/reply.h"

#include "core/log.h"
#include "core/vocabulary.h"

namespace
{

// The bus drops the connection of a sender whose message is larger; the message's other attributes fit in the margin.
constexpr size_t kMessageMargin = 64;

constexpr const char *kOutOfMemory = "out of memory";

blob_buf reply;
bool reply_incomplete;

// How a call ended is said in a place of its own, of which the longest reason takes 188 bytes: a call is answered also
// when memory has run out.
bool never_grow(blob_buf *, int)
{
    return false;
}

alignas(uint32_t) char outcome_bytes[256];
blob_buf outcome_reply = {.head = nullptr, .grow = never_grow, .buflen = sizeof(outcome_bytes), .buf = outcome_bytes};

// The library may leave the head pointing at what it freed.
void release_reply()
{
    blob_buf_free(&reply);
    reply = {};
}

// Nothing can be added to a message that could not be started.
bool is_started()
{
    return reply.head;
}

void note(bool added)
{
    if (!added)
        reply_incomplete = true;
}

void *note_nest(void *nest)
{
    note(nest);
    return nest;
}

void log_outcome(const char *function, const Status &status)
{
    WEXOND_LOG_AS(function, "%s , %s \n\n", status.failed ? "failed" : "success", status.reason);
}

void send_outcome(ubus_request_data *request, const Status &status, const uint32_t *index = nullptr)
{
    blob_buf_init(&outcome_reply, 0);
    blobmsg_add_string(&outcome_reply, "result", status.failed ? "1" : "0");
    if (index)
        blobmsg_add_u32(&outcome_reply, "idx", *index);
    blobmsg_add_string(&outcome_reply, "failreason", status.reason);
    ubus_send_reply(wexond_context, request, outcome_reply.head);
}

void send_failure(ubus_request_data *request, const char *reason)
{
    Status outcome{};
    fail(outcome, "%s", reason);
    send_outcome(request, outcome);
}

// Why a finished table cannot be sent as it is, or null.
const char *unsendable()
{
    if (reply_incomplete || !is_started())
        return kOutOfMemory;
    if (blob_pad_len(reply.head) + kMessageMargin > UBUS_MAX_MSGLEN)
        return "reply too large for the bus";
    return nullptr;
}

// A table that is fit to be sent; the bus may find no memory for it all the same.
void send_table(ubus_request_data *request)
{
    if (ubus_send_reply(wexond_context, request, reply.head) == kBusNoMemory)
        send_failure(request, kOutOfMemory);
}

} // namespace

void reply_start()
{
    reply_incomplete = false;
    note(blob_buf_init(&reply, 0) == 0);
}

void *reply_open_table(const char *name)
{
    return note_nest(is_started() ? blobmsg_open_table(&reply, name) : nullptr);
}

void *reply_open_array(const char *name)
{
    return note_nest(is_started() ? blobmsg_open_array(&reply, name) : nullptr);
}

void reply_close(void *nest)
{
    if (nest)
        blob_nest_end(&reply, nest);
}

void reply_string(const char *name, const char *text)
{
    note(is_started() && blobmsg_add_string(&reply, name, text) == 0);
}

void reply_int(const char *name, uint32_t value)
{
    note(is_started() && blobmsg_add_u32(&reply, name, value) == 0);
}

void reply_int64(const char *name, uint64_t value)
{
    note(is_started() && blobmsg_add_u64(&reply, name, value) == 0);
}

void reply_counter(const char *name, uint64_t value)
{
    reply_string(name, wexond_u64_to_str(static_cast<uint32_t>(value), static_cast<uint32_t>(value >> 32)));
}

void reply_word(const char *name, uint32_t vocabulary, uint32_t code)
{
    reply_string(name, wexond_code_to_str(vocabulary, static_cast<int32_t>(code)));
}

void reply_compact_mac(const char *name, char *text)
{
    wexond_mac_compact(text);
    reply_string(name, text);
}

int reply_notify(ubus_object *object, const char *name)
{
    int result = -1;
    if (object && !unsendable() && ubus_notify(wexond_context, object, name, reply.head, -1) == 0)
        result = 0;
    release_reply();
    return result;
}

void reply_send(ubus_request_data *request)
{
    if (const char *reason = unsendable())
        send_failure(request, reason);
    else
        send_table(request);
    release_reply();
}

int wexond_send_for_set(ubus_request_data *request, const Status *status)
{
    if (!status)
        return -1;
    log_outcome(__func__, *status);
    send_outcome(request, *status);
    return 0;
}

int wexond_send_for_get(ubus_request_data *request, const Status *status)
{
    if (!status)
        return -1;
    Status outcome = *status;
    // Only the value 1 counts as failure here; any other sends the table.
    if (outcome.failed != 1)
        if (const char *reason = unsendable())
            fail(outcome, "%s", reason);
    log_outcome(__func__, outcome);
    if (outcome.failed == 1)
        send_outcome(request, outcome);
    else
        send_table(request);
    release_reply();
    return 0;
}

int send_for_set(const Call &call)
{
    return wexond_send_for_set(call.request, &call.status);
}

int send_for_get(const Call &call)
{
    return wexond_send_for_get(call.request, &call.status);
}

int send_for_add(const Call &call, const uint32_t *index)
{
    log_outcome(call.function, call.status);
    send_outcome(call.request, call.status, index);
    return 0;
}
