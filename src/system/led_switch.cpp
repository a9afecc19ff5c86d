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

int wexond_ledswitch_set(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                         blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<1> arguments(set_policy, message);
    if (arguments.require(&call.status)) {
        WEXOND_LOG("status[%s] \n\n", arguments.text(STATUS));
        LedSwitchRecord record{};
        record.status = wexond_str_to_code(kStatusSwitch, arguments.text(STATUS));
        exchange(kSetLedSwitch, record, "set ledswitch", &call.status);
    }
    return wexond_send_for_set(request, &call.status);
}

int wexond_ledswitch_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                         blob_attr *)
{
    Call call(object, method, __func__);
    Answer<LedSwitchRecord> answer = ask<LedSwitchRecord>(kGetLedSwitch);
    if (answer.check("get ledswitch", &call.status)) {
        reply_start();
        void *table = reply_open_table("wexond.ledswitch");
        reply_string("status", wexond_code_to_str(kStatusSwitch, answer->status));
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

const ubus_method methods[] = {
    UBUS_METHOD("set", wexond_ledswitch_set, set_policy),
    UBUS_METHOD_NOARG("get", wexond_ledswitch_get),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond.ledswitch", methods);

} // namespace

ubus_object wexond_ledswitch_object = {
    .name = "wexond.ledswitch",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
