#include "events/event_table.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <pthread.h>

#include "core/catalogue.h"
#include "core/log.h"
#include "events/event_records.h"
#include "events/notifications.h"

namespace
{

struct EventRow {
    const char *name;
    uint32_t type;
    uint32_t needed; // how much of the record its sender reads
    EventSender send;
    uint32_t length;
    void *record;
    uint32_t pending;
};

constexpr size_t kRowCount = 15;

// One slot more than rows: the scans run up to and including the row count. It matches no type and is never pending.
EventRow rows[kRowCount + 1] = {
    {"New Sta", kEventNewStation, sizeof(StationEvent), wexond_laninfo_newdevice},
    {"Sta on/offline", kEventStationState, sizeof(StationEvent), wexond_laninfo_devicestatus},
    {"wan ip change", kEventWanIpChange, sizeof(WanIpChangeEvent), wexond_waninfo_ipchange},
    {"wan up/down", kEventWanUpDown, sizeof(WanUpDownEvent), wexond_waninfo_updown},
    {"Led Switch", kEventLedSwitch, sizeof(SwitchEvent), wexond_ledswitch_propertieschanged},
    {"Wifi Switch", kEventWifiSwitch, sizeof(SwitchEvent), wexond_wifi_switch_propertieschanged},
    {"Elink Switch", kEventElinkSwitch, sizeof(SwitchEvent), wexond_elink_switch_propertieschanged},
    {"Wps Switch", kEventWpsSwitch, sizeof(WpsSwitchEvent), wexond_wps_switch_propertieschanged},
    {"Wifi Pwd Err", kEventWifiPasswordError, sizeof(PasswordErrorEvent), wexond_wifi_passworderror},
    {"channel change", kEventChannelChange, sizeof(ChannelChangeEvent), wexond_wifi_channelchanged},
    {"ssid change", kEventSsidChange, sizeof(SsidChangeEvent), wexond_wifi_ssidchanged},
    {"PingResult", kEventPingResult, sizeof(PingResultEvent), wexond_diagnostics_pingresult},
    {"TraceResult", kEventTraceResult, 0, wexond_diagnostics_tracerouteresult},
    {"RoamingNotifi", kEventRoaming, sizeof(RoamingEvent), wexond_roaming_notification},
    {"VsieNewRecord", kEventVsieNewRecord, sizeof(VsieRecordEvent), wexond_wifi_vsie_proberx_newrecord},
    {"", UINT32_MAX, 0, nullptr},
};

// Ready before any thread runs: the bus thread is started before those that store.
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;

// A copy that its sender can read to its struct's end, and as a text.
void *copy_record(const EventRow &row, const void *record, uint32_t length)
{
    void *copy = calloc(1, size_t{std::max(length, row.needed)} + 1);
    if (copy && length > 0)
        memcpy(copy, record, length);
    return copy;
}

// False where no memory was found: the row is then empty.
bool keep(EventRow &row, const void *record, uint32_t length)
{
    WEXOND_LOG_AS("WEXOND_ServerRecvDeal", "Event : %s\n", row.name);
    free(row.record);
    row.record = copy_record(row, record, length);
    if (!row.record)
        return false;
    row.length = length;
    row.pending = 1;
    return true;
}

void deliver(EventRow &row)
{
    WEXOND_LOG_AS("WEXOND_Event_NotifyDeal", "Notify send : %s \n\n", row.name);
    row.send(row.record, row.length);
    row.pending = 0;
    free(row.record);
    row.record = nullptr;
}

} // namespace

void event_store(uint32_t type, const void *record, uint32_t length)
{
    pthread_mutex_lock(&mutex);
    for (size_t i = 0; i <= kRowCount; i++)
        if (rows[i].type == type && keep(rows[i], record, length))
            break;
    pthread_mutex_unlock(&mutex);
}

int WEXOND_Event_NotifyDeal()
{
    pthread_mutex_lock(&mutex);
    for (size_t i = 0; i <= kRowCount; i++)
        if (rows[i].pending == 1)
            deliver(rows[i]);
    pthread_mutex_unlock(&mutex);
    return 0;
}
