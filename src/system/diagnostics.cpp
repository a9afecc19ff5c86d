// wexond.diagnostics: the device's load and open ports, and the start of ping and traceroute jobs, whose results arrive
// later as events. These handlers judge return codes themselves and give reasons of their own.

#include "system/diagnostics_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"

namespace
{

enum { PING_HOST, PING_NUM, PING_TIMEOUT, PING_BLOCKSIZE };

const blobmsg_policy ping_policy[] = {
    {.name = "host", .type = BLOBMSG_TYPE_STRING},
    {.name = "num", .type = BLOBMSG_TYPE_INT32},
    {.name = "timeout", .type = BLOBMSG_TYPE_INT32},
    {.name = "blocksize", .type = BLOBMSG_TYPE_INT32},
};

enum { TRACE_HOST, TRACE_NUMOFTRIES, TRACE_TIMEOUT, TRACE_BLOCKSIZE, TRACE_MAXHOP };

const blobmsg_policy traceroute_policy[] = {
    {.name = "host", .type = BLOBMSG_TYPE_STRING},   {.name = "numoftries", .type = BLOBMSG_TYPE_INT32},
    {.name = "timeout", .type = BLOBMSG_TYPE_INT32}, {.name = "blocksize", .type = BLOBMSG_TYPE_INT32},
    {.name = "maxhop", .type = BLOBMSG_TYPE_INT32},
};

// An optional number of a job: its argument, its field, its bit in the mask of given fields.
template <typename Record> struct Option {
    size_t argument;
    le32 Record::*field;
    uint32_t bit;
    uint32_t divisor;
};

const Option<PingRecord> ping_options[] = {
    {PING_NUM, &PingRecord::count, 2, 1},
    {PING_TIMEOUT, &PingRecord::timeout, 4, 1},
    {PING_BLOCKSIZE, &PingRecord::block_size, 8, 1},
};

// Deliberate: the time-out is divided here and is not for a ping.
const Option<TracerouteRecord> traceroute_options[] = {
    {TRACE_NUMOFTRIES, &TracerouteRecord::tries, 16, 1},
    {TRACE_TIMEOUT, &TracerouteRecord::timeout, 4, 1000},
    {TRACE_BLOCKSIZE, &TracerouteRecord::block_size, 8, 1},
    {TRACE_MAXHOP, &TracerouteRecord::max_hops, 32, 1},
};

// Host and options of a job, the host being the first argument of both policies.
template <typename Record, size_t Policies, size_t Options>
void fill_job(Record &record, const blobmsg_policy (&policy)[Policies], const Arguments<Policies> &arguments,
              const Option<Record> (&options)[Options], const char *function)
{
    copy_text(record.host, arguments.text(0));
    WEXOND_LOG_AS(function, "host:%s \n\n", arguments.text(0));
    for (const Option<Record> &option : options) {
        if (!arguments.has(option.argument))
            continue;
        uint32_t value = arguments.number(option.argument);
        WEXOND_LOG_AS(function, "%s:%u \n\n", policy[option.argument].name, value);
        record.*option.field = value / option.divisor;
        record.given_mask = record.given_mask | option.bit;
    }
}

// False where the handler is to reply at once.
bool add_cpu(Status *status)
{
    Answer<CpuRateRecord> answer = ask<CpuRateRecord>(kGetCpuRate);
    if (!answer.accepted()) {
        wexond_fail(status, "failed to get cpu rate");
        // Deliberate: the other requests are still made after a missing answer, and not after a refusal.
        return !answer.present();
    }
    reply_int("cputemperature", answer->temperature);
    reply_int("cpuusage", answer->usage);
    return true;
}

bool add_memory(Status *status)
{
    Answer<MemoryRateRecord> answer = ask<MemoryRateRecord>(kGetMemoryRate);
    if (!answer.accepted()) {
        wexond_fail(status, "failed to get mem rate");
        return false;
    }
    reply_int("memusage", answer->usage);
    return true;
}

bool add_flash(Status *status)
{
    Answer<FlashRateRecord> answer = ask<FlashRateRecord>(kGetFlashRate);
    if (!answer.accepted()) {
        // Deliberate: a refusal's text lacks the word "get".
        wexond_fail(status, answer.present() ? "failed to flash rate" : "failed to get flash rate");
        return false;
    }
    reply_int("flashusage", answer->usage);
    reply_int("flashfree", answer->free);
    return true;
}

bool add_open_ports(uint32_t type, const char *key, const char *failure, Status *status)
{
    Answer<OpenPortsRecord> answer = ask<OpenPortsRecord>(type);
    if (!answer.accepted()) {
        wexond_fail(status, "%s", failure);
        return false;
    }
    void *array = reply_open_array(key);
    for (const le32 &port : answer->ports)
        if (port != 0)
            reply_int("", port);
    reply_close(array);
    return true;
}

int wexond_diagnostics_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                           blob_attr *)
{
    Call call(object, method, __func__);
    reply_start();
    void *table = reply_open_table("wexond.diagnostics");
    if (add_cpu(&call.status) && add_memory(&call.status) && add_flash(&call.status))
        reply_close(table);
    return wexond_send_for_get(request, &call.status);
}

int wexond_diagnostics_netstat(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                               blob_attr *)
{
    Call call(object, method, __func__);
    reply_start();
    if (add_open_ports(kGetTcpPorts, "tcp", "failed to get tcp open port", &call.status))
        add_open_ports(kGetUdpPorts, "udp", "failed to get udp open port", &call.status);
    return wexond_send_for_get(request, &call.status);
}

int wexond_diagnostics_ping(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                            blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<4> arguments(ping_policy, message);
    if (arguments.require(&call.status, 1)) {
        PingRecord record{};
        fill_job(record, ping_policy, arguments, ping_options, __func__);
        if (!accepts(kPing, record))
            wexond_fail(&call.status, "failed to ping");
    }
    return wexond_send_for_set(request, &call.status);
}

int wexond_diagnostics_traceroute(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                                  blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<5> arguments(traceroute_policy, message);
    if (arguments.require(&call.status, 1)) {
        TracerouteRecord record{};
        fill_job(record, traceroute_policy, arguments, traceroute_options, __func__);
        record.fixed = 1;
        if (!accepts(kTraceroute, record))
            wexond_fail(&call.status, "failed to traceroute");
    }
    return wexond_send_for_set(request, &call.status);
}

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("get", wexond_diagnostics_get),
    UBUS_METHOD_NOARG("netstat", wexond_diagnostics_netstat),
    UBUS_METHOD("ping", wexond_diagnostics_ping, ping_policy),
    UBUS_METHOD("traceroute", wexond_diagnostics_traceroute, traceroute_policy),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond.diagnostics", methods);

} // namespace

ubus_object wexond_diagnostics_object = {
    .name = "wexond.diagnostics",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
