// The weekly switching points of the radios.

#include <bit>

#include "checks.h"
#include "filters/wifi_timer_records.h"
#include "records.h"
#include "service.h"

static void describe(auto &&field, WifiTimerRecord &record)
{
    field("index", record.index);
    field("fixed1", record.fixed1);
    field("enable", record.enable, YesNo{});
    field("fixed2", record.fixed2);
    field("hour", record.hour);
    field("minute", record.minute);
    field("weekday", record.weekday, BitSet{kWeekdays});
}

static void describe(auto &&field, WifiTimerIndexRecord &record)
{
    field("index", record.index);
}

namespace
{

// On one day of the week.
ReturnCode check_wifi_timer(const WifiTimerRecord &timer)
{
    uint32_t weekday = timer.weekday;
    if (timer.enable > 1)
        return kBadSwitch;
    if (timer.hour < 0 || timer.hour > 23 || timer.minute < 0 || timer.minute > 59)
        return kBadTime;
    return weekday <= 64 && std::has_single_bit(weekday) ? kOk : kBadWeekday;
}

Reply list_wifi_timers(const Json &home)
{
    return to_list<WifiTimerList>(home.at("wifi_timers"));
}

Reply add_wifi_timer(Json &home, const WifiTimerRecord &request)
{
    WifiTimerRecord record = request;
    if (!add_entry(home["wifi_timers"], record, std::size(WifiTimerList{}.entries)))
        return kFull;
    return WifiTimerIndexRecord{record.index};
}

Reply set_wifi_timer(Json &home, const WifiTimerRecord &record)
{
    return store_entry(home["wifi_timers"], record) ? kOk : kNotFound;
}

Reply get_wifi_timer(const Json &home, const WifiTimerIndexRecord &request)
{
    const Json *entry = find_entry(home.at("wifi_timers"), request.index);
    return entry ? Reply(to_record<WifiTimerRecord>(*entry)) : Reply(kNotFound);
}

Reply delete_wifi_timer(Json &home, const WifiTimerIndexRecord &request)
{
    return remove_entry(home["wifi_timers"], request.index) ? kOk : kNotFound;
}

constexpr Row kRows[] = {
    {kListWifiTimers, "ORVC_GET_WIFITIMERLIST", serve<list_wifi_timers>},
    {kSetWifiTimer, "ORVC_SET_WIFITIMER", serve<set_wifi_timer, check_wifi_timer>},
    {kGetWifiTimer, "ORVC_GET_WIFITIMER", serve<get_wifi_timer>},
    {kAddWifiTimer, "ORVC_ADD_WIFITIMER", serve<add_wifi_timer, check_wifi_timer>},
    {kDeleteWifiTimer, "ORVC_DEL_WIFITIMER", serve<delete_wifi_timer>},
};
const Family family = {kRows};

} // namespace
