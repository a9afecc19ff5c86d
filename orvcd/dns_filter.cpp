// The DNS filter's rules.

#include "core/shared_records.h"
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

static Reply list_dns_filters(const Json &home)
{
    return to_list<DnsFilterList>(home.at("dns_filters"));
}

static constexpr Row rows[] = {
    {kListDnsFilters, "ORVC_GET_FILTERDNS", serve<list_dns_filters>},
};
const Family kDnsFilterFamily = rows;
