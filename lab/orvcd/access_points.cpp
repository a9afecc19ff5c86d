// Each band's numbered access points, and the flag that tells whether anybody has changed one yet.

#include "checks.h"
#include "events.h"
#include "records.h"
#include "service.h"
#include "wifi/access_point_records.h"

constexpr Name kAuthModes[] = {{0, "open"},   {1, "share"},   {2, "wpa"},           {3, "wpa2"},
                               {4, "wpapsk"}, {5, "wpa2psk"}, {6, "wpapskwpa2psk"}, {7, "wep"}};
constexpr Name kEncryptions[] = {{0, "none"}, {2, "tkip"}, {3, "aes"}, {4, "aestkip"}};
constexpr Name kBasicChanges[] = {{kChangeApEnable, "enable"},   {kChangeApSsid, "ssid"},
                                  {kChangeApKey, "key"},         {kChangeApAuth, "auth"},
                                  {kChangeApEncrypt, "encrypt"}, {kChangeApHide, "hidden"}};
constexpr Name kRateChanges[] = {{kChangeUpstream, "upstream"}, {kChangeDownstream, "downstream"}};

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

namespace
{

// Which access point a message is about.
void describe_place(auto &&field, auto &record)
{
    field("band", record.band, Names{kBands});
    field("ap_index", record.ap_index);
}

} // namespace

static void describe_message(auto &&field, ApBasicRecord &record)
{
    field("band", record.band, Names{kBands});
    field("changes", record.change_mask, BitSet{kBasicChanges});
}

static void describe_message(auto &&field, ApRateLimitRecord &record)
{
    describe_place(field, record);
    field("changes", record.change_mask, BitSet{kRateChanges});
}

static void describe_message(auto &&field, ApAccessModeRecord &record)
{
    describe_place(field, record);
}

static void describe_message(auto &&field, ApAccessRuleRecord &record)
{
    describe_place(field, record);
    field("count", record.count);
}

static void describe(auto &&field, FactoryFlagRecord &record)
{
    field("factory_settings", record.factory, YesNo{});
}

static void describe(auto &&field, DualBandSyncRecord &record)
{
    field("dual_band_sync", record.enable, YesNo{});
}

static void describe(auto &&field, ApRateLimitRecord &record)
{
    field("upstream", record.upstream);
    field("downstream", record.downstream);
}

static void describe(auto &&field, ApAccessModeRecord &record)
{
    field("access_mode", record.mode);
}

static void describe(auto &&field, AllowedAddress &record)
{
    field("address", record.address);
    field("port", record.port);
}

static void describe(auto &&field, ApAccessRuleRecord &record)
{
    field("access_rule", record.rule);
    field("allowed", record.entries);
}

static void describe(auto &&field, SsidChangeEvent &event)
{
    field("band", event.band, Names{kBands});
    field("ap_index", event.ap_index);
    field("ssid", event.ssid);
}

namespace
{

// The access point that a record names by its band and index, or null.
template <typename Home, typename Record> auto *find_access_point(Home &home, const Record &record)
{
    auto *radio = radio_of(home, record.band);
    return radio ? find_entry(radio->at("access_points"), record.ap_index) : nullptr;
}

// A read request is answered by its own record, filled.
template <typename Record> Reply get_part(const Json &home, const Record &request)
{
    const Json *entry = find_access_point(home, request);
    if (!entry)
        return kNotFound;
    auto record = to_record<Record>(*entry);
    record.band = request.band;
    record.ap_index = request.ap_index;
    return record;
}

Reply get_ap_basic(const Json &home, const ApBasicRecord &request)
{
    return get_part(home, request);
}

Reply get_ap_access_mode(const Json &home, const ApAccessModeRecord &request)
{
    return get_part(home, request);
}

Reply get_ap_rate_limit(const Json &home, const ApRateLimitRecord &request)
{
    return get_part(home, request);
}

Reply get_ap_access_rule(const Json &home, const ApAccessRuleRecord &request)
{
    const Json *entry = find_access_point(home, request);
    if (!entry)
        return kNotFound;
    auto record = to_record<ApAccessRuleRecord>(*entry);
    record.band = request.band;
    record.ap_index = request.ap_index;
    if (entry->contains("allowed"))
        record.count = slot_count(entry->at("allowed"), record.entries);
    return record;
}

constexpr uint32_t kMaxAccessPoints = 16;

// The access point of a record; made, as it comes from the factory, where a radio still has room for it. Null
// otherwise.
Json *access_point_of(Json &home, const ApBasicRecord &record)
{
    Json *radio = radio_of(home, record.band);
    if (!radio || record.ap_index == 0 || record.ap_index > kMaxAccessPoints)
        return nullptr;
    Json &list = (*radio)["access_points"];
    if (Json *entry = find_entry(list, record.ap_index))
        return entry;
    char bssid[18];
    snprintf(bssid, sizeof(bssid), "00:00:5E:00:53:%X%X", record.band + 1, static_cast<unsigned>(record.ap_index) & 15);
    list.push_back({{"index", static_cast<uint32_t>(record.ap_index)}, {"bssid", bssid}});
    return &list.back();
}

// The fields that a request changes, over those of the access point as it is.
void change(ApBasicRecord &record, const ApBasicRecord &request)
{
    uint32_t mask = request.change_mask;
    if (mask & kChangeApEnable)
        record.enable = request.enable;
    if (mask & kChangeApSsid)
        memcpy(record.ssid, request.ssid, sizeof(record.ssid));
    if (mask & kChangeApKey)
        memcpy(record.key, request.key, sizeof(record.key));
    if (mask & kChangeApAuth)
        record.auth = request.auth;
    if (mask & kChangeApEncrypt)
        record.encrypt = request.encrypt;
    if (mask & kChangeApHide)
        record.hide = request.hide;
}

// Access points without a key, those whose stations have one each, those with one of WEP and those with a passphrase.
ReturnCode check_key(uint32_t auth, std::string_view key)
{
    switch (auth) {
    case 4:
    case 5:
    case 6:
        return is_passphrase(key) ? kOk : kBadKey;
    case 1:
    case 7:
        return is_wep_key(key) ? kOk : kBadKey;
    default:
        return kOk;
    }
}

// Settings that make no sense together: encryption of WPA where there is no WPA is passed over, WPA without any is not.
ReturnCode check_security(const ApBasicRecord &record)
{
    uint32_t auth = record.auth;
    bool is_wpa = auth >= 2 && auth <= 6;
    if (auth > 7)
        return kBadAuth;
    if (record.encrypt > 4 || record.encrypt == 1 || (is_wpa && record.encrypt == 0))
        return kBadEncryption;
    return check_key(auth, text_of(record.key));
}

// A change is judged by what the access point would be.
ReturnCode check_ap_basic(const Json &home, const ApBasicRecord &request)
{
    uint32_t mask = request.change_mask;
    if (((mask & kChangeApEnable) && request.enable > 1) || ((mask & kChangeApHide) && request.hide > 1))
        return kBadSwitch;
    if ((mask & kChangeApSsid) && text_of(request.ssid).empty())
        return kBadSsid;
    if (!(mask & (kChangeApAuth | kChangeApEncrypt | kChangeApKey)))
        return kOk;
    const Json *entry = find_access_point(home, request);
    auto record = entry ? to_record<ApBasicRecord>(*entry) : ApBasicRecord{};
    change(record, request);
    return check_security(record);
}

ReturnCode check_ap_access_mode(const ApAccessModeRecord &record)
{
    return record.mode <= 4 ? kOk : kBadMode;
}

ReturnCode check_ap_access_rule(const ApAccessRuleRecord &record)
{
    if (record.rule > kRuleAllowList)
        return kBadMode;
    if (record.count > std::size(record.entries))
        return kBadRange;
    for (size_t i = 0; i < record.count; i++) {
        if (!is_ipv4(text_of(record.entries[i].address)))
            return kBadAddress;
        if (record.entries[i].port > 0xFFFF)
            return kBadPort;
    }
    return kOk;
}

ReturnCode check_factory_flag(const FactoryFlagRecord &record)
{
    return check_switch(record.factory);
}

Reply set_ap_basic(Json &home, const ApBasicRecord &request)
{
    Json *entry = access_point_of(home, request);
    if (!entry)
        return kNotFound;
    auto record = to_record<ApBasicRecord>(*entry);
    std::string old_ssid = read_text(record.ssid).data;
    change(record, request);
    store(*entry, record);
    if (old_ssid != read_text(record.ssid).data) {
        SsidChangeEvent event{request.band, request.ap_index, {}, {}};
        memcpy(event.ssid, record.ssid, sizeof(event.ssid));
        announce(kEventSsidChange, event);
    }
    return kOk;
}

template <typename Record> Reply set_part(Json &home, const Record &record)
{
    Json *entry = find_access_point(home, record);
    if (!entry)
        return kNotFound;
    store(*entry, record);
    return kOk;
}

Reply set_ap_access_mode(Json &home, const ApAccessModeRecord &record)
{
    return set_part(home, record);
}

Reply set_ap_access_rule(Json &home, const ApAccessRuleRecord &record)
{
    return set_part(home, record);
}

Reply set_ap_rate_limit(Json &home, const ApRateLimitRecord &request)
{
    Json *entry = find_access_point(home, request);
    if (!entry)
        return kNotFound;
    if (request.change_mask & kChangeUpstream)
        (*entry)["upstream"] = encode(request.upstream);
    if (request.change_mask & kChangeDownstream)
        (*entry)["downstream"] = encode(request.downstream);
    return kOk;
}

Reply get_dual_band_sync(const Json &home)
{
    return to_record<DualBandSyncRecord>(home.at("wifi"));
}

Reply get_factory_flag(const Json &home)
{
    return to_record<FactoryFlagRecord>(home);
}

Reply set_factory_flag(Json &home, const FactoryFlagRecord &record)
{
    store(home, record);
    return kOk;
}

constexpr Event kFamilyEvents[] = {
    event_of<SsidChangeEvent>("ssid", kEventSsidChange,
                              R"({"band": "2.4 GHz", "ap_index": 1, "ssid": "Birch Lane 7"})"),
};

constexpr Row kRows[] = {
    {kSetApBasic, "ORVC_SET_APBASIC", serve<set_ap_basic, check_ap_basic>},
    {kGetApBasic, "ORVC_GET_APBASIC", serve<get_ap_basic>},
    {kSetApRateLimit, "ORVC_SET_APRATELIMIT", serve<set_ap_rate_limit>},
    {kGetApRateLimit, "ORVC_GET_APRATELIMIT", serve<get_ap_rate_limit>},
    {kSetApAccessMode, "ORVC_SET_APACCESSMODE", serve<set_ap_access_mode, check_ap_access_mode>},
    {kGetApAccessMode, "ORVC_GET_APACCESSMODE", serve<get_ap_access_mode>},
    {kSetApAccessRule, "ORVC_SET_APACCESSRULE", serve<set_ap_access_rule, check_ap_access_rule>},
    {kGetApAccessRule, "ORVC_GET_APACCESSRULE", serve<get_ap_access_rule>},
    {kGetDualBandSync, "ORVC_GET_DUALBANDSYNC", serve<get_dual_band_sync>},
    {kGetFactoryFlag, "ORVC_GET_FACTORYFLAG", serve<get_factory_flag>},
    {kSetFactoryFlag, "ORVC_SET_FACTORYFLAG", serve<set_factory_flag, check_factory_flag>},
};
const Family family = {kRows, kFamilyEvents};

} // namespace
