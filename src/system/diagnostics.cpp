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

const Option<PingRecord> ping_options[] = {
    {PING_NUM, kGivenPingCount, fill_number<&PingRecord::count>},
    {PING_TIMEOUT, kGivenTimeout, fill_number<&PingRecord::timeout>},
    {PING_BLOCKSIZE, kGivenBlockSize, fill_number<&PingRecord::block_size>},
};

// Deliberate: the time-out is divided here and is not for a ping.
bool fill_seconds(const Call &, TracerouteRecord &record, blob_attr *milliseconds)
{
    record.timeout = blobmsg_get_u32(milliseconds) / 1000;
    return true;
}

const Option<TracerouteRecord> traceroute_options[] = {
    {TRACE_NUMOFTRIES, kGivenTries, fill_number<&TracerouteRecord::tries>},
    {TRACE_TIMEOUT, kGivenTimeout, fill_seconds},
    {TRACE_BLOCKSIZE, kGivenBlockSize, fill_number<&TracerouteRecord::block_size>},
    {TRACE_MAXHOP, kGivenMaxHops, fill_number<&TracerouteRecord::max_hops>},
};

// Host and options of a job, the host being the first argument of both policies.
template <typename Record, size_t N, size_t Options>
void fill_job(Call &call, const Arguments<N> &arguments, const Option<Record> (&options)[Options], Record &record)
{
    copy_text(record.host, arguments.text(0));
    CALL_LOG(call, "host:%s \n\n", arguments.text(0));
    fill_options(call, arguments, options, record, &Record::given_mask, "%s:%u \n\n");
}

// False where the handler is to reply at once.
bool add_cpu(Call &call)
{
    Answer<CpuRateRecord> answer = ask<CpuRateRecord>(kGetCpuRate);
    if (!answer.accepted()) {
        fail(call, "failed to get cpu rate");
        // Deliberate: the other requests are still made after a missing answer, and not after a refusal.
        return !answer.present();
    }
    reply_int("cputemperature", answer->temperature);
    reply_int("cpuusage", answer->usage);
    return true;
}

bool add_memory(Call &call)
{
    Answer<MemoryRateRecord> answer = ask<MemoryRateRecord>(kGetMemoryRate);
    if (!answer.accepted()) {
        fail(call, "failed to get mem rate");
        return false;
    }
    reply_int("memusage", answer->usage);
    return true;
}

bool add_flash(Call &call)
{
    Answer<FlashRateRecord> answer = ask<FlashRateRecord>(kGetFlashRate);
    if (!answer.accepted()) {
        // Deliberate: a refusal's text lacks the word "get".
        fail(call, answer.present() ? "failed to flash rate" : "failed to get flash rate");
        return false;
    }
    reply_int("flashusage", answer->usage);
    reply_int("flashfree", answer->free);
    return true;
}

bool add_open_ports(Call &call, uint32_t type, const char *key, const char *failure)
{
    Answer<OpenPortsRecord> answer = ask<OpenPortsRecord>(type);
    if (!answer.accepted()) {
        fail(call, "%s", failure);
        return false;
    }
    void *array = reply_open_array(key);
    for (const le32 &port : answer->ports)
        if (port != 0)
            reply_int("", port);
    reply_close(array);
    return true;
}

int wexond_diagnostics_get(Call &call)
{
    reply_start();
    void *table = reply_open_table("wexond.diagnostics");
    if (add_cpu(call) && add_memory(call) && add_flash(call))
        reply_close(table);
    return send_for_get(call);
}

int wexond_diagnostics_netstat(Call &call)
{
    reply_start();
    if (add_open_ports(call, kGetTcpPorts, "tcp", "failed to get tcp open port"))
        add_open_ports(call, kGetUdpPorts, "udp", "failed to get udp open port");
    return send_for_get(call);
}

int wexond_diagnostics_ping(Call &call)
{
    Arguments<4> arguments(ping_policy, call.message);
    if (arguments.require(call, 1)) {
        PingRecord record{};
        fill_job(call, arguments, ping_options, record);
        if (!accepts(kPing, record))
            fail(call, "failed to ping");
    }
    return send_for_set(call);
}

int wexond_diagnostics_traceroute(Call &call)
{
    Arguments<5> arguments(traceroute_policy, call.message);
    if (arguments.require(call, 1)) {
        TracerouteRecord record{};
        fill_job(call, arguments, traceroute_options, record);
        record.fixed = 1;
        if (!accepts(kTraceroute, record))
            fail(call, "failed to traceroute");
    }
    return send_for_set(call);
}

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("get", SERVE(wexond_diagnostics_get)),
    UBUS_METHOD_NOARG("netstat", SERVE(wexond_diagnostics_netstat)),
    UBUS_METHOD("ping", SERVE(wexond_diagnostics_ping), ping_policy),
    UBUS_METHOD("traceroute", SERVE(wexond_diagnostics_traceroute), traceroute_policy),
};

ubus_object_type type = bus_object_type("wexond.diagnostics", methods);

} // namespace

ubus_object wexond_diagnostics_object = {
    .name = "wexond.diagnostics",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
