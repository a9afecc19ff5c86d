// The URL filter's rules.

#include "filter_rules.h"
#include "filters/filter_records.h"
#include "records.h"
#include "service.h"

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

constexpr char kKey[] = "url_filters";
using UrlRules = Rules<kKey, UrlFilterList>;

constexpr Row kRows[] = {
    {kSetUrlFilter, "ORVC_SET_FILTERURL", serve<UrlRules::set, check_url_filter>},
    {kListUrlFilters, "ORVC_GET_FILTERURLLIST", serve<UrlRules::list>},
    {kDeleteUrlFilter, "ORVC_DEL_FILTERURL", serve<UrlRules::remove>},
    {kAddUrlFilter, "ORVC_ADD_FILTERURL", serve<UrlRules::add, check_url_filter>},
    {kGetUrlFilter, "ORVC_GET_FILTERURL", serve<UrlRules::get>},
};
const Family family = {kRows};

} // namespace
