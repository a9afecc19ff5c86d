// The DNS filter's rules.

#include "filter_rules.h"
#include "filters/filter_records.h"
#include "records.h"
#include "service.h"

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

constexpr char kKey[] = "dns_filters";
using DnsRules = Rules<kKey, DnsFilterList>;

constexpr Row kRows[] = {
    {kSetDnsFilter, "ORVC_SET_FILTERDNS", serve<DnsRules::set, check_dns_filter>},
    {kListDnsFilters, "ORVC_GET_FILTERDNSLIST", serve<DnsRules::list>},
    {kDeleteDnsFilter, "ORVC_DEL_FILTERDNS", serve<DnsRules::remove>},
    {kAddDnsFilter, "ORVC_ADD_FILTERDNS", serve<DnsRules::add, check_dns_filter>},
    {kGetDnsFilter, "ORVC_GET_FILTERDNS", serve<DnsRules::get>},
};
const Family family = {kRows};

} // namespace
