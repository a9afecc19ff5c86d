// The URL filter's rules.

#include "core/shared_records.h"
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

static Reply list_url_filters(const Json &home)
{
    return to_list<UrlFilterList>(home.at("url_filters"));
}

static constexpr Row rows[] = {
    {kListUrlFilters, "ORVC_GET_FILTERURL", serve<list_url_filters>},
};
const Family kUrlFilterFamily = rows;
