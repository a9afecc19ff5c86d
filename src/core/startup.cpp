#include "core/startup.h"

#include <cstdio>

#include "core/backend.h"
#include "core/catalogue.h"
#include "core/entry.h"
#include "core/log.h"
#include "core/shared_records.h"
#include "core/threads.h"

uint32_t wexond_factory_flag;

namespace
{

constexpr int kProbeAttempts = 4;
constexpr int kReadAttempts = 3;
constexpr uint32_t kDefaultApCount = 4;
constexpr uint32_t kMaxApCount = 64; // no radio carries more: a larger count would only keep start-up from ending
constexpr int kFirstDrainMs = 5000;
constexpr int kDrainMs = 200;
constexpr int kChannelScanMs = 60000;

// The loop forgets an end that was asked for before it ran; this does not.
bool bus_lost;

// Start-up looks at the access points of both bands alike; only these differ.
struct Band {
    uint32_t band; // in records; one less than the band number of object names
    const char *count_action;
    const char *default_ssid_format;
};

constexpr Band kBands[] = {
    {0, "get 2.4G AP num", "KVQ_%d"},
    {1, "get 5G AP num", "KVQ_5G_%d"},
};

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
    for (int attempt = 0; attempt < kProbeAttempts; attempt++) {
        if (ask<ApBasicRecord>(kGetApBasic, request).check("check", nullptr))
            return;
        wexond_pause(1);
    }
}

uint32_t count_aps(const Band &band)
{
    RadioRecord request{};
    request.band = band.band;
    Answer<RadioRecord> answer = ask<RadioRecord>(kGetRadio, request);
    if (!answer.check(band.count_action, nullptr) || answer->ap_count == 0)
        return kDefaultApCount;
    return std::min<uint32_t>(answer->ap_count, kMaxApCount);
}

// Switched off under the name that a reset gives it.
bool is_unconfigured(const ApBasicRecord &ap, const Band &band, uint32_t ap_index)
{
    char default_ssid[16];
    snprintf(default_ssid, sizeof(default_ssid), band.default_ssid_format, ap_index);
    return ap.enable == 0 && strcmp(read_text(ap.ssid).data, default_ssid) == 0;
}

// True where the access point gets an entry. The first of each band gets one even when it cannot be read.
bool wants_entry(const Band &band, uint32_t ap_index)
{
    ApBasicRecord request = ap_request(band.band, ap_index);
    for (int attempt = 1; attempt <= kReadAttempts; attempt++) {
        Answer<ApBasicRecord> answer = ask<ApBasicRecord>(kGetApBasic, request);
        // Deliberate: the 5 GHz band reports the 2.4G text.
        if (answer.check("get 2.4G AP info", nullptr))
            return !is_unconfigured(*answer, band, ap_index);
        if (attempt < kReadAttempts)
            wexond_pause(attempt);
    }
    return ap_index == 1;
}

void wifiap_init(const Band &band)
{
    uint32_t count = count_aps(band);
    for (uint32_t ap_index = 1; ap_index <= count; ap_index++)
        if (wants_entry(band, ap_index))
            entry_add(&entry_lists.wifi_aps[band.band], ap_index, band.band + 1);
}

// The return code of these lists is looked at only to log it.
template <typename List> void add_listed(vlist_tree *list, const List &answer)
{
    for (size_t i = 0; i < entry_count(answer); i++)
        entry_add(list, answer.entries[i].index);
}

void wifitimer_init()
{
    Answer<WifiTimerList> answer = ask<WifiTimerList>(kListWifiTimers);
    if (answer.present())
        add_listed(&entry_lists.wifi_timers, *answer);
    else
        WEXOND_LOG("%s:  failed \n\n", __func__);
}

template <typename List> void filter_init(const char *function, uint32_t type, vlist_tree *list)
{
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
    WEXOND_Event_NotifyDeal();
    uloop_timeout_set(timer, kDrainMs);
}

void scan_channels(uloop_timeout *)
{
    wexond_channel_scan(0);
    wexond_channel_scan(1);
}

uloop_timeout drain_timer = {.cb = drain_events};
uloop_timeout channel_scan_timer = {.cb = scan_channels};

} // namespace

int wexond_main()
{
    for (ubus_object *object : catalogue_objects())
        add_object(object);
    wait_for_service();
    entry_lists_init();
    for (const Band &band : kBands)
        wifiap_init(band);
    wifitimer_init();
    filterurl_init();
    filterdns_init();

    Answer<FactoryFlagRecord> answer = ask<FactoryFlagRecord>(kGetFactoryFlag);
    if (answer.check("get factoryflag", nullptr))
        wexond_factory_flag = answer->factory;
    else
        WEXOND_LOG("Failed to get factoryflag\n");

    uloop_timeout_set(&drain_timer, kFirstDrainMs);
    uloop_timeout_set(&channel_scan_timer, kChannelScanMs);
    if (!bus_lost)
        uloop_run_timeout(-1);
    return 0;
}

void wexond_bus_lost(ubus_context *)
{
    bus_lost = true;
    uloop_end();
}
