// The stations that may not join, and those that alone may.

#include "records.h"
#include "service.h"
#include "wifi/access_list_records.h"

static constexpr char kBlacklist[] = "blacklist";
static constexpr char kWhitelist[] = "whitelist";

static void describe(auto &&field, AccessListRecord &record)
{
    field("index", record.index);
    field("name", record.name);
    field("mac", record.mac);
}

template <const char *list> static Reply list_stations(const Json &home)
{
    return to_list<AccessListAnswer>(home.at(list));
}

template <const char *list> static Reply add_station(Json &home, const AccessListRecord &request)
{
    AccessListRecord record = request;
    return add_entry(home[list], record, std::size(AccessListAnswer{}.entries)) ? Reply(record) : Reply(kFull);
}

template <const char *list> static Reply delete_station(Json &home, const AccessListIndexRecord &request)
{
    return remove_entry(home[list], request.index) ? kOk : kNotFound;
}

static constexpr Row rows[] = {
    {kAddBlacklist, "ORVC_ADD_BLACKLIST", serve<add_station<kBlacklist>>},
    {kDeleteBlacklist, "ORVC_DEL_BLACKLIST", serve<delete_station<kBlacklist>>},
    {kListBlacklist, "ORVC_GET_BLACKLIST", serve<list_stations<kBlacklist>>},
    {kAddWhitelist, "ORVC_ADD_WHITELIST", serve<add_station<kWhitelist>>},
    {kDeleteWhitelist, "ORVC_DEL_WHITELIST", serve<delete_station<kWhitelist>>},
    {kListWhitelist, "ORVC_GET_WHITELIST", serve<list_stations<kWhitelist>>},
};
const Family kAccessListFamily = rows;
