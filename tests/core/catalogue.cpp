// A catalogue of the tests' own: entry types that tell apart by their arguments, whose one kind of method answers with
// the name of the object that was called.
#include "tests/core/catalogue.h"

#include "core/families.h"
#include "core/reply.h"

namespace
{

int tell_name(ubus_context *, ubus_object *object, ubus_request_data *request, const char *, blob_attr *)
{
    reply_start();
    reply_string("called", object->name);
    Status status{};
    return wexond_send_for_get(request, &status);
}

const blobmsg_policy dns_policy[] = {{.name = "dns", .type = BLOBMSG_TYPE_STRING}};
const blobmsg_policy url_policy[] = {{.name = "url", .type = BLOBMSG_TYPE_STRING}};
const blobmsg_policy host_policy[] = {{.name = "host", .type = BLOBMSG_TYPE_STRING}};
const blobmsg_policy timer_policy[] = {{.name = "timer", .type = BLOBMSG_TYPE_STRING}};
const blobmsg_policy ap1_policy[] = {{.name = "2.4G", .type = BLOBMSG_TYPE_STRING}};
const blobmsg_policy ap2_policy[] = {{.name = "5G", .type = BLOBMSG_TYPE_STRING}};

const ubus_method dns_methods[] = {UBUS_METHOD("set", tell_name, dns_policy), UBUS_METHOD_NOARG("get", tell_name)};
const ubus_method url_methods[] = {UBUS_METHOD("set", tell_name, url_policy), UBUS_METHOD_NOARG("get", tell_name)};
const ubus_method host_methods[] = {
    UBUS_METHOD_NOARG("list", tell_name),
    UBUS_METHOD_NOARG("getnum", tell_name),
    UBUS_METHOD("set", tell_name, host_policy),
    UBUS_METHOD_NOARG("get", tell_name),
};
const ubus_method timer_methods[] = {UBUS_METHOD("set", tell_name, timer_policy), UBUS_METHOD_NOARG("get", tell_name)};
const ubus_method ap1_methods[] = {
    UBUS_METHOD("set", tell_name, ap1_policy),
    UBUS_METHOD_NOARG("get", tell_name),
    UBUS_METHOD_NOARG("stats", tell_name),
};
const ubus_method ap2_methods[] = {
    UBUS_METHOD("set", tell_name, ap2_policy),
    UBUS_METHOD_NOARG("get", tell_name),
    UBUS_METHOD_NOARG("stats", tell_name),
};

ubus_object_type dns_type = bus_object_type("wexond.filter.dns.", dns_methods);
ubus_object_type url_type = bus_object_type("wexond.filter.url.", url_methods);
ubus_object_type host_type = bus_object_type("wexond.laninfo", host_methods);
ubus_object_type timer_type = bus_object_type("wexond.wifi.timer.", timer_methods);
ubus_object_type ap1_type = bus_object_type("wexond.wifi.1.ap.", ap1_methods);
ubus_object_type ap2_type = bus_object_type("wexond.wifi.2.ap.", ap2_methods);

ubus_object first_object = {
    .name = "wexond.b", .type = &url_type, .methods = url_methods, .n_methods = ARRAY_SIZE(url_methods)};
ubus_object second_object = {
    .name = "wexond.a", .type = &host_type, .methods = host_methods, .n_methods = ARRAY_SIZE(host_methods)};

constexpr ubus_object *kObjects[] = {&first_object, &second_object};

int start_events()
{
    return event_relay_result;
}

int drain_events()
{
    drains++;
    return 0;
}

void note_scan(uint32_t band)
{
    scanned_bands.push_back(band);
}

} // namespace

int event_relay_result;
int drains;
std::vector<uint32_t> scanned_bands;

void use_test_families()
{
    for (ubus_object_type *type : {&dns_type, &url_type, &host_type, &timer_type, &ap1_type, &ap2_type})
        type->id = 0;
    for (ubus_object *object : kObjects)
        object->id = 0;
    families = {
        .objects = kObjects,
        .entry_types =
            {
                .filterdns = &dns_type,
                .filterurl = &url_type,
                .laninfo = &host_type,
                .wifitimer = &timer_type,
                .wifi_aps = {&ap1_type, &ap2_type},
            },
        .start_events = start_events,
        .drain_events = drain_events,
        .scan_channels = note_scan,
    };
}
