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

WifiTimerRecord parse_timer(const Call &call, const Arguments<3> &arguments, uint32_t index)
{
    CALL_LOG(call, "weekday:%s / time:%s / enable:%s \n\n", arguments.text(WEEKDAY), arguments.text(TIME),
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
    reply_word("weekday", kWeekday, record.weekday);
    reply_string("time", time);
    reply_word("enable", kYesNo, record.enable);
}

int wexond_wifitimer_add(Call &call)
{
    Arguments<3> arguments(timer_policy, call.message);
    if (!arguments.require(call))
        return send_for_add(call, nullptr);
    auto answer = ask<WifiTimerIndexRecord>(call, kAddWifiTimer, parse_timer(call, arguments, 0), "add wifitimer");
    if (!answer)
        return send_for_add(call, nullptr);
    uint32_t index = answer->index;
    entry_add(&entry_lists.wifi_timers, index);
    return send_for_add(call, &index);
}

int wexond_wifitimer_delete(Call &call)
{
    Arguments<1> arguments(index_policy, call.message);
    if (!arguments.require(call))
        return send_for_set(call);
    uint32_t index = arguments.number(IDX);
    CALL_LOG(call, "idx:%d \n\n", index);
    if (Entry *entry = entry_find(&entry_lists.wifi_timers, index)) {
        // Deliberate: the entry goes before the service is asked, and whatever it answers.
        entry_remove(&entry_lists.wifi_timers, entry);
        exchange(call, kDeleteWifiTimer, WifiTimerIndexRecord{index}, "delete wifitimer");
    } else {
        fail(call, "failed to delete wifitimer");
    }
    return send_for_set(call);
}

int wexond_wifitimer_list(Call &call)
{
    if (Answer<WifiTimerList> answer = ask<WifiTimerList>(call, kListWifiTimers, "list wifitimer")) {
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
    return send_for_get(call);
}

int wexond_wifitimer1_set(Call &call)
{
    Arguments<3> arguments(timer_policy, call.message);
    const Entry *entry = entry_find_named(&entry_lists.wifi_timers, call.object->name);
    if (!entry)
        fail(call, "failed to set wifitimer");
    else if (arguments.require(call))
        exchange(call, kSetWifiTimer, parse_timer(call, arguments, entry->index), "set wifitimer");
    return send_for_set(call);
}

int wexond_wifitimer1_get(Call &call)
{
    const Entry *entry = entry_find_named(&entry_lists.wifi_timers, call.object->name);
    if (!entry) {
        fail(call, "failed to get wifitimer");
        return send_for_get(call);
    }
    auto answer = ask<WifiTimerRecord>(call, kGetWifiTimer, WifiTimerIndexRecord{entry->index}, "get wifitimer");
    if (answer) {
        reply_start();
        void *table = reply_open_table(call.object->name);
        add_timer(*answer);
        reply_close(table);
    }
    return send_for_get(call);
}

const ubus_method methods[] = {
    UBUS_METHOD("add", SERVE(wexond_wifitimer_add), timer_policy),
    UBUS_METHOD("delete", SERVE(wexond_wifitimer_delete), index_policy),
    UBUS_METHOD_NOARG("list", SERVE(wexond_wifitimer_list)),
};

const ubus_method entry_methods[] = {
    UBUS_METHOD("set", SERVE(wexond_wifitimer1_set), timer_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_wifitimer1_get)),
};

ubus_object_type type = bus_object_type("wexond.wifi.timer", methods);

} // namespace

ubus_object_type wexond_wifitimer_entry_type = bus_object_type("wexond.wifi.timer.", entry_methods);

ubus_object wexond_wifi_timer_object = {
    .name = "wexond.wifi.timer",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
