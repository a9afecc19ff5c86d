#include "core/reply.h"

#include "core/log.h"
#include "core/vocabulary.h"

namespace
{

// The bus drops the connection of a sender whose message is larger; the message's other attributes fit in the margin.
constexpr size_t kMessageLimit = 1024 * 1024;
constexpr size_t kMessageMargin = 64;

blob_buf reply;
bool reply_incomplete;

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

void add_result(const Status &status)
{
    reply_string("result", status.failed ? "1" : "0");
}

void add_reason(const Status &status)
{
    reply_string("failreason", status.reason);
}

void replace_by_outcome(const Status &status)
{
    reply_start();
    add_result(status);
    add_reason(status);
}

// 0, or the status that ends the call in place of the reply.
int send(ubus_request_data *request)
{
    int result = is_started() ? ubus_send_reply(wexond_context, request, reply.head) : UBUS_STATUS_NO_MEMORY;
    blob_buf_free(&reply);
    return result;
}

// Why a finished table cannot be sent as it is, or null.
const char *unsendable()
{
    if (reply_incomplete || !is_started())
        return "out of memory";
    if (blob_pad_len(reply.head) + kMessageMargin > kMessageLimit)
        return "reply too large for the bus";
    return nullptr;
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

int reply_notify(ubus_object *object, const char *name)
{
    int result = -1;
    if (object && !unsendable() && ubus_notify(wexond_context, object, name, reply.head, -1) == 0)
        result = 0;
    blob_buf_free(&reply);
    return result;
}

int reply_send(ubus_request_data *request)
{
    if (const char *reason = unsendable()) {
        Status outcome{};
        wexond_fail(&outcome, "%s", reason);
        replace_by_outcome(outcome);
    }
    return send(request);
}

int wexond_send_for_set(ubus_request_data *request, const Status *status)
{
    if (!status)
        return -1;
    log_outcome(__func__, *status);
    replace_by_outcome(*status);
    return send(request);
}

int wexond_send_for_get(ubus_request_data *request, const Status *status)
{
    if (!status)
        return -1;
    Status outcome = *status;
    // Only the value 1 counts as failure here; any other sends the table.
    if (outcome.failed != 1)
        if (const char *reason = unsendable())
            wexond_fail(&outcome, "%s", reason);
    log_outcome(__func__, outcome);
    if (outcome.failed == 1)
        replace_by_outcome(outcome);
    return send(request);
}

int send_for_add(ubus_request_data *request, const Status &status, const char *function, const uint32_t *index)
{
    log_outcome(function, status);
    reply_start();
    add_result(status);
    if (index)
        reply_int("idx", *index);
    add_reason(status);
    return send(request);
}
