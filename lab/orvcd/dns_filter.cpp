// The DNS filter's rules.

#include "filters/filter_records.h"
#include "records.h"
#include "service.h"
#include "time_range.h"

static void describe(auto &&field, DnsFilterRecord &record)
{
    field("index", record.index);
    field("enable", record.enable, YesNo{});
    field("name", record.name);
    field("hostnames", record.hostnames);
    field("mac", record.mac);
    field("action", record.action);
    field("mode", record.mode);
    field("weekdays", record.weekdays, BitSet{kWeekdays});
    field("ranges", record.ranges);
}

namespace
{

ReturnCode check_dns_filter(const DnsFilterRecord &rule)
{
    if (text_of(rule.hostnames[0]).empty())
        return kBadUrl;
    return is_mac(text_of(rule.mac)) ? check_rule(rule) : kBadMac;
}

Reply list_dns_filters(const Json &home)
{
    return to_list<DnsFilterList>(home.at("dns_filters"));
}

// The answer holds the new index.
Reply add_dns_filter(Json &home, const DnsFilterRecord &request)
{
    DnsFilterRecord record = request;
    return add_entry(home["dns_filters"], record, std::size(DnsFilterList{}.entries)) ? Reply(record) : Reply(kFull);
}

Reply set_dns_filter(Json &home, const DnsFilterRecord &record)
{
    return store_entry(home["dns_filters"], record) ? Reply(record) : Reply(kNotFound);
}

Reply get_dns_filter(const Json &home, const DnsFilterRecord &request)
{
    const Json *entry = find_entry(home.at("dns_filters"), request.index);
    return entry ? Reply(to_record<DnsFilterRecord>(*entry)) : Reply(kNotFound);
}

Reply delete_dns_filter(Json &home, const DnsFilterRecord &request)
{
    return remove_entry(home["dns_filters"], request.index) ? kOk : kNotFound;
}

constexpr Row rows[] = {
    {kSetDnsFilter, "ORVC_SET_FILTERDNS", serve<set_dns_filter, check_dns_filter>},
    {kListDnsFilters, "ORVC_GET_FILTERDNSLIST", serve<list_dns_filters>},
    {kDeleteDnsFilter, "ORVC_DEL_FILTERDNS", serve<delete_dns_filter>},
    {kAddDnsFilter, "ORVC_ADD_FILTERDNS", serve<add_dns_filter, check_dns_filter>},
    {kGetDnsFilter, "ORVC_GET_FILTERDNS", serve<get_dns_filter>},
};
const Family family = {rows};

} // namespace
