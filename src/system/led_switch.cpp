// wexond.ledswitch: the front-panel LEDs. One switch, read and written as a single word.

#include "system/led_switch_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/vocabulary.h"

namespace
{

enum { STATUS };

const blobmsg_policy set_policy[] = {
    {.name = "status", .type = BLOBMSG_TYPE_STRING},
};

int wexond_ledswitch_set(Call &call)
{
    Arguments<1> arguments(set_policy, call.message);
    if (arguments.require(call)) {
        CALL_LOG(call, "status[%s] \n\n", arguments.text(STATUS));
        LedSwitchRecord record{};
        record.status = wexond_str_to_code(kStatusSwitch, arguments.text(STATUS));
        exchange(call, kSetLedSwitch, record, "set ledswitch");
    }
    return send_for_set(call);
}

int wexond_ledswitch_get(Call &call)
{
    if (Answer<LedSwitchRecord> answer = ask<LedSwitchRecord>(call, kGetLedSwitch, "get ledswitch")) {
        reply_start();
        void *table = reply_open_table("wexond.ledswitch");
        reply_word("status", kStatusSwitch, answer->status);
        reply_close(table);
    }
    return send_for_get(call);
}

const ubus_method methods[] = {
    UBUS_METHOD("set", SERVE(wexond_ledswitch_set), set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_ledswitch_get)),
};

ubus_object_type type = bus_object_type("wexond.ledswitch", methods);

} // namespace

ubus_object wexond_ledswitch_object = {
    .name = "wexond.ledswitch",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
