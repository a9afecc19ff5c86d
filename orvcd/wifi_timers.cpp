// The weekly switching points of the radios.

#include "core/shared_records.h"
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

static Reply list_wifi_timers(const Json &home)
{
    return to_list<WifiTimerList>(home.at("wifi_timers"));
}

static constexpr Row rows[] = {
    {kListWifiTimers, "ORVC_GET_WIFITIMER", serve<list_wifi_timers>},
};
const Family kWifiTimerFamily = rows;
