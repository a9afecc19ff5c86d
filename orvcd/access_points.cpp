// Each band's numbered access points, and the flag that tells whether anybody has changed one yet.

#include "core/shared_records.h"
#include "records.h"
#include "service.h"

static constexpr Name kAuthModes[] = {{0, "open"},   {1, "share"},   {2, "wpa"},           {3, "wpa2"},
                                      {4, "wpapsk"}, {5, "wpa2psk"}, {6, "wpapskwpa2psk"}, {7, "wep"}};
static constexpr Name kEncryptions[] = {{0, "none"}, {2, "tkip"}, {3, "aes"}, {4, "aestkip"}};

static void describe(auto &&field, ApBasicRecord &record)
{
    field("index", record.ap_index);
    field("enable", record.enable, YesNo{});
    field("ssid", record.ssid);
    field("bssid", record.bssid);
    field("auth", record.auth, Names{kAuthModes});
    field("encrypt", record.encrypt, Names{kEncryptions});
    field("key", record.key);
    field("hidden", record.hide, YesNo{});
}

static void describe(auto &&field, FactoryFlagRecord &record)
{
    field("factory_settings", record.factory, YesNo{});
}

static Reply get_ap_basic(const Json &home, const ApBasicRecord &request)
{
    const Json *radio = radio_of(home, request.band);
    const Json *entry = radio ? find_entry(radio->at("access_points"), request.ap_index) : nullptr;
    if (!entry)
        return kNotFound;
    auto record = to_record<ApBasicRecord>(*entry);
    record.band = request.band;
    return record;
}

static Reply get_factory_flag(const Json &home)
{
    return to_record<FactoryFlagRecord>(home);
}

static constexpr Row rows[] = {
    {kGetApBasic, "ORVC_GET_APBASIC", serve<get_ap_basic>},
    {kGetFactoryFlag, "ORVC_GET_FACTORYFLAG", serve<get_factory_flag>},
};
const Family kAccessPointFamily = rows;
