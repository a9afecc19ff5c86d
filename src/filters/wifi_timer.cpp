// wexond.wifi.timer and its entry objects wexond.wifi.timer.<n>: weekly times at which Wi-Fi is switched on or off.

#include "filters/wifi_timer_records.h"

#include <cstdio>

#include "core/arguments.h"
#include "core/call.h"
#include "core/entry.h"
#include "core/reply.h"
#include "core/vocabulary.h"

namespace
{

enum { WEEKDAY, TIME, ENABLE };

const blobmsg_policy timer_policy[] = {
    {.name = "weekday", .type = BLOBMSG_TYPE_STRING},
    {.name = "time", .type = BLOBMSG_TYPE_STRING},
    {.name = "enable", .type = BLOBMSG_TYPE_STRING},
};

// Of the text of a time, characters that are read.
constexpr size_t kTimeTextLimit = 64;

// Hour and minute are not checked: 25:99 is stored as it is. A text that does not scan leaves them 0.
void parse_time(const char *text, WifiTimerRecord &record)
{
    char work[kTimeTextLimit + 1];
    snprintf(work, sizeof(work), "%s", text);
    int hour = 0, minute = 0;
    // NOLINTNEXTLINE(cert-err34-c): what does not scan stays 0, and no time is refused
    sscanf(work, "%d:%d", &hour, &minute);
    record.hour = hour;
    record.minute = minute;
}

WifiTimerRecord parse_timer(const Arguments<3> &arguments, uint32_t index, const char *function)
{
    WEXOND_LOG_AS(function, "weekday:%s / time:%s / enable:%s \n\n", arguments.text(WEEKDAY), arguments.text(TIME),
                  arguments.text(ENABLE));
    WifiTimerRecord record{};
    record.index = index;
    record.fixed1 = 1;
    record.enable = wexond_str_to_code(kYesNo, arguments.text(ENABLE));
    record.fixed2 = 1;
    parse_time(arguments.text(TIME), record);
    record.weekday = wexond_str_to_code(kWeekday, arguments.text(WEEKDAY));
    return record;
}

void add_timer(const WifiTimerRecord &record)
{
    char time[32];
    snprintf(time, sizeof(time), "%02d:%02d", static_cast<int>(record.hour), static_cast<int>(record.minute));
    reply_string("weekday", wexond_code_to_str(kWeekday, record.weekday));
    reply_string("time", time);
    reply_string("enable", wexond_code_to_str(kYesNo, record.enable));
}

int wexond_wifitimer_add(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                         blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<3> arguments(timer_policy, message);
    if (!arguments.require(&call.status))
        return send_for_add(request, call.status, __func__, nullptr);
    auto answer = ask<WifiTimerIndexRecord>(kAddWifiTimer, parse_timer(arguments, 0, __func__));
    if (!answer.check("add wifitimer", &call.status))
        return send_for_add(request, call.status, __func__, nullptr);
    uint32_t index = answer->index;
    entry_add(&entry_lists.wifi_timers, index);
    return send_for_add(request, call.status, __func__, &index);
}

int wexond_wifitimer_delete(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                            blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<1> arguments(index_policy, message);
    if (!arguments.require(&call.status))
        return wexond_send_for_set(request, &call.status);
    uint32_t index = arguments.number(IDX);
    WEXOND_LOG("idx:%d \n\n", index);
    if (Entry *entry = entry_find(&entry_lists.wifi_timers, index)) {
        // Deliberate: the entry goes before the service is asked, and whatever it answers.
        entry_remove(&entry_lists.wifi_timers, entry);
        exchange(kDeleteWifiTimer, WifiTimerIndexRecord{index}, "delete wifitimer", &call.status);
    } else {
        wexond_fail(&call.status, "failed to delete wifitimer");
    }
    return wexond_send_for_set(request, &call.status);
}

int wexond_wifitimer_list(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                          blob_attr *)
{
    Call call(object, method, __func__);
    Answer<WifiTimerList> answer = ask<WifiTimerList>(kListWifiTimers);
    if (answer.check("list wifitimer", &call.status)) {
        reply_start();
        void *array = reply_open_array("wexond.wifi.timer");
        for (size_t i = 0; i < entry_count(*answer); i++) {
            void *table = reply_open_table("");
            reply_int("idx", answer->entries[i].index);
            add_timer(answer->entries[i]);
            reply_close(table);
        }
        reply_close(array);
        entry_reconcile(&entry_lists.wifi_timers, *answer);
    }
    return wexond_send_for_get(request, &call.status);
}

int wexond_wifitimer1_set(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                          blob_attr *message)
{
    Call call(object, method, __func__);
    Arguments<3> arguments(timer_policy, message);
    const Entry *entry = entry_find_named(&entry_lists.wifi_timers, object->name);
    if (!entry)
        wexond_fail(&call.status, "failed to set wifitimer");
    else if (arguments.require(&call.status))
        exchange(kSetWifiTimer, parse_timer(arguments, entry->index, __func__), "set wifitimer", &call.status);
    return wexond_send_for_set(request, &call.status);
}

int wexond_wifitimer1_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                          blob_attr *)
{
    Call call(object, method, __func__);
    const Entry *entry = entry_find_named(&entry_lists.wifi_timers, object->name);
    if (!entry) {
        wexond_fail(&call.status, "failed to get wifitimer");
        return wexond_send_for_get(request, &call.status);
    }
    auto answer = ask<WifiTimerRecord>(kGetWifiTimer, WifiTimerIndexRecord{entry->index});
    if (answer.check("get wifitimer", &call.status)) {
        reply_start();
        void *table = reply_open_table(object->name);
        add_timer(*answer);
        reply_close(table);
    }
    return wexond_send_for_get(request, &call.status);
}

const ubus_method methods[] = {
    UBUS_METHOD("add", wexond_wifitimer_add, timer_policy),
    UBUS_METHOD("delete", wexond_wifitimer_delete, index_policy),
    UBUS_METHOD_NOARG("list", wexond_wifitimer_list),
};

const ubus_method entry_methods[] = {
    UBUS_METHOD("set", wexond_wifitimer1_set, timer_policy),
    UBUS_METHOD_NOARG("get", wexond_wifitimer1_get),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond.wifi.timer", methods);

} // namespace

ubus_object_type wexond_wifitimer_entry_type = UBUS_OBJECT_TYPE("wexond.wifi.timer.", entry_methods);

ubus_object wexond_wifi_timer_object = {
    .name = "wexond.wifi.timer",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
