#include "core/startup.h"

#include <cstdio>
#include <poll.h>

#include "core/backend.h"
#include "core/bands.h"
#include "core/clock.h"
#include "core/entry.h"
#include "core/families.h"
#include "core/log.h"
#include "core/shared_records.h"

uint32_t wexond_factory_flag;

namespace
{

constexpr int kProbeAttempts = 4;
constexpr int kReadAttempts = 3;
constexpr uint32_t kDefaultApCount = 4;
constexpr uint32_t kMaxApCount = 1024; // a larger count is no radio's and would only keep start-up from ending
constexpr int kFirstDrainMs = 5000;
constexpr int kDrainMs = 200;
constexpr int kChannelScanMs = 60000;

// The loop forgets an end that was asked for before it ran; this does not.
bool bus_lost;

// Waits for the broker's end, so long at most. Nobody reads the socket before the loop runs, and calls that wait in it
// would hide the end from a read: the socket itself is asked, for its end alone. A result as that of poll().
int watch_bus(int milliseconds)
{
    pollfd bus = {.fd = wexond_context->sock.fd, .events = POLLRDHUP, .revents = 0};
    int result = poll(&bus, 1, milliseconds);
    if (result > 0)
        bus_lost = true;
    return result;
}

// Start-up looks before each request: without the bus there is nobody to start for.
bool bus_is_lost()
{
    if (!bus_lost)
        watch_bus(0);
    return bus_lost;
}

// Ends early with the bus. Signals interrupt the pause and do not shorten it.
void pause_on_bus(int seconds)
{
    if (bus_lost)
        return;
    int64_t end = monotonic_ms() + int64_t{seconds} * 1000;
    while (watch_bus(static_cast<int>(std::max<int64_t>(end - monotonic_ms(), 0))) < 0 && monotonic_ms() < end)
        ;
}

void add_object(ubus_object *object)
{
    int result = ubus_add_object(wexond_context, object);
    if (result)
        fprintf(stderr, "Failed to add %s: %s\n", object->name, ubus_strerror(result));
}

ApBasicRecord ap_request(uint32_t band, uint32_t ap_index)
{
    ApBasicRecord request{};
    request.band = band;
    request.ap_index = ap_index;
    return request;
}

void wait_for_service()
{
    // The service tells its readiness by the first access point of the second band.
    ApBasicRecord request = ap_request(1, 1);
    for (int attempt = 0; attempt < kProbeAttempts && !bus_is_lost(); attempt++) {
        if (ask<ApBasicRecord>(kGetApBasic, request).check("check"))
            return;
        pause_on_bus(1);
    }
}

uint32_t count_aps(const RadioBand &band)
{
    static constexpr const char *kActions[] = {"get 2.4G AP num", "get 5G AP num"};
    RadioRecord request{};
    request.band = band.index;
    Answer<RadioRecord> answer = ask<RadioRecord>(kGetRadio, request);
    if (!answer.check(kActions[band.index]) || answer->ap_count == 0)
        return kDefaultApCount;
    return std::min<uint32_t>(answer->ap_count, kMaxApCount);
}

// Switched off under the name that a reset gives it.
bool is_unconfigured(const ApBasicRecord &ap, const RadioBand &band, uint32_t ap_index)
{
    char default_ssid[16];
    snprintf(default_ssid, sizeof(default_ssid), band.default_ssid, ap_index);
    return ap.enable == 0 && strcmp(read_text(ap.ssid).data, default_ssid) == 0;
}

// True where the access point gets an entry. The first of each band gets one even when it cannot be read.
bool wants_entry(const RadioBand &band, uint32_t ap_index)
{
    ApBasicRecord request = ap_request(band.index, ap_index);
    for (int attempt = 1; attempt <= kReadAttempts; attempt++) {
        if (bus_is_lost())
            return false;
        Answer<ApBasicRecord> answer = ask<ApBasicRecord>(kGetApBasic, request);
        // Deliberate: the 5 GHz band reports the 2.4G text.
        if (answer.check("get 2.4G AP info"))
            return !is_unconfigured(*answer, band, ap_index);
        if (attempt < kReadAttempts)
            pause_on_bus(attempt);
    }
    return ap_index == 1;
}

void wifiap_init(const RadioBand &band)
{
    if (bus_is_lost())
        return;
    uint32_t count = count_aps(band);
    for (uint32_t ap_index = 1; ap_index <= count; ap_index++)
        if (wants_entry(band, ap_index))
            entry_add(&entry_lists.wifi_aps[band.index], ap_index, band.number);
}

// The return code of these lists is looked at only to log it.
template <typename List> void add_listed(vlist_tree *list, const List &answer)
{
    for (size_t i = 0; i < entry_count(answer); i++)
        entry_add(list, answer.entries[i].index);
}

void wifitimer_init()
{
    if (bus_is_lost())
        return;
    Answer<WifiTimerList> answer = ask<WifiTimerList>(kListWifiTimers);
    if (answer.present())
        add_listed(&entry_lists.wifi_timers, *answer);
    else
        WEXOND_LOG("%s:  failed \n\n", __func__);
}

template <typename List> void filter_init(const char *function, uint32_t type, vlist_tree *list)
{
    if (bus_is_lost())
        return;
    Answer<List> answer = ask<List>(type);
    if (!answer.present()) {
        WEXOND_LOG_AS(function, "NULL == pcBuf\n");
        return;
    }
    if (!answer.accepted())
        WEXOND_LOG_AS(function, "ORV_RET_OK != *peRet\n");
    add_listed(list, *answer);
}

void filterurl_init()
{
    filter_init<UrlFilterList>(__func__, kListUrlFilters, &entry_lists.url_filters);
}

void filterdns_init()
{
    filter_init<DnsFilterList>(__func__, kListDnsFilters, &entry_lists.dns_filters);
}

void drain_events(uloop_timeout *timer)
{
    families.drain_events();
    uloop_timeout_set(timer, kDrainMs);
}

void scan_channels(uloop_timeout *)
{
    families.scan_channels(0);
    families.scan_channels(1);
}

uloop_timeout drain_timer = {.cb = drain_events};
uloop_timeout channel_scan_timer = {.cb = scan_channels};

void factory_flag_init()
{
    if (bus_is_lost())
        return;
    Answer<FactoryFlagRecord> answer = ask<FactoryFlagRecord>(kGetFactoryFlag);
    if (answer.check("get factoryflag"))
        wexond_factory_flag = answer->factory;
    else
        WEXOND_LOG_AS("wexond_main", "Failed to get factoryflag\n");
}

} // namespace

int wexond_main()
{
    bus_lost = false;
    for (ubus_object *object : families.objects)
        add_object(object);
    wait_for_service();
    entry_lists_init();
    for (const RadioBand &band : kRadioBands)
        wifiap_init(band);
    wifitimer_init();
    filterurl_init();
    filterdns_init();
    factory_flag_init();

    uloop_timeout_set(&drain_timer, kFirstDrainMs);
    uloop_timeout_set(&channel_scan_timer, kChannelScanMs);
    if (!bus_is_lost())
        uloop_run_timeout(-1);
    return 0;
}

void end_with_bus(ubus_context *)
{
    bus_lost = true;
    uloop_end();
}
