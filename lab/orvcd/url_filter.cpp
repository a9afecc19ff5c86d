// The URL filter's rules.

#include "filters/filter_records.h"
#include "records.h"
#include "service.h"
#include "time_range.h"

static void describe(auto &&field, UrlFilterRecord &record)
{
    field("index", record.index);
    field("enable", record.enable, YesNo{});
    field("name", record.name);
    field("urls", record.urls);
    field("macs", record.macs);
    field("mode", record.mode);
    field("weekdays", record.weekdays, BitSet{kWeekdays});
    field("ranges", record.ranges);
}

namespace
{

ReturnCode check_url_filter(const UrlFilterRecord &rule)
{
    if (text_of(rule.urls[0]).empty())
        return kBadUrl;
    for (const auto &mac : rule.macs)
        if (mac[0] && !is_mac(text_of(mac)))
            return kBadMac;
    return check_rule(rule);
}

Reply list_url_filters(const Json &home)
{
    return to_list<UrlFilterList>(home.at("url_filters"));
}

// The answer holds the new index.
Reply add_url_filter(Json &home, const UrlFilterRecord &request)
{
    UrlFilterRecord record = request;
    return add_entry(home["url_filters"], record, std::size(UrlFilterList{}.entries)) ? Reply(record) : Reply(kFull);
}

Reply set_url_filter(Json &home, const UrlFilterRecord &record)
{
    return store_entry(home["url_filters"], record) ? Reply(record) : Reply(kNotFound);
}

Reply get_url_filter(const Json &home, const UrlFilterRecord &request)
{
    const Json *entry = find_entry(home.at("url_filters"), request.index);
    return entry ? Reply(to_record<UrlFilterRecord>(*entry)) : Reply(kNotFound);
}

Reply delete_url_filter(Json &home, const UrlFilterRecord &request)
{
    return remove_entry(home["url_filters"], request.index) ? kOk : kNotFound;
}

constexpr Row rows[] = {
    {kSetUrlFilter, "ORVC_SET_FILTERURL", serve<set_url_filter, check_url_filter>},
    {kListUrlFilters, "ORVC_GET_FILTERURLLIST", serve<list_url_filters>},
    {kDeleteUrlFilter, "ORVC_DEL_FILTERURL", serve<delete_url_filter>},
    {kAddUrlFilter, "ORVC_ADD_FILTERURL", serve<add_url_filter, check_url_filter>},
    {kGetUrlFilter, "ORVC_GET_FILTERURL", serve<get_url_filter>},
};
const Family family = {rows};

} // namespace
