// The stations that may not join, and those that alone may.

#include <strings.h>

#include "checks.h"
#include "records.h"
#include "service.h"
#include "stations.h"
#include "wifi/access_list_records.h"

constexpr char kBlacklist[] = "blacklist";
constexpr char kWhitelist[] = "whitelist";

static void describe(auto &&field, AccessListRecord &record)
{
    field("index", record.index);
    field("name", record.name);
    field("mac", record.mac);
}

static void describe(auto &&field, AccessListIndexRecord &record)
{
    field("index", record.index);
}

namespace
{

// Of the same MAC address in either form.
bool is_listed(const Json &list, std::string_view mac)
{
    for (const Json &entry : list)
        if (strcasecmp(colon_mac(entry.value("mac", "")).c_str(), colon_mac(std::string(mac)).c_str()) == 0)
            return true;
    return false;
}

template <const char *list> ReturnCode check_station(const Json &home, const AccessListRecord &record)
{
    if (!is_mac(text_of(record.mac)))
        return kBadMac;
    return is_listed(home.at(list), text_of(record.mac)) ? kExists : kOk;
}

template <const char *list> Reply list_stations(const Json &home)
{
    return to_list<AccessListAnswer>(home.at(list));
}

template <const char *list> Reply add_station(Json &home, const AccessListRecord &request)
{
    AccessListRecord record = request;
    return add_entry(home[list], record, std::size(AccessListAnswer{}.entries)) ? Reply(record) : Reply(kFull);
}

template <const char *list> Reply delete_station(Json &home, const AccessListIndexRecord &request)
{
    return remove_entry(home[list], request.index) ? kOk : kNotFound;
}

constexpr Row kRows[] = {
    {kAddBlacklist, "ORVC_ADD_BLACKLIST", serve<add_station<kBlacklist>, check_station<kBlacklist>>},
    {kDeleteBlacklist, "ORVC_DEL_BLACKLIST", serve<delete_station<kBlacklist>>},
    {kListBlacklist, "ORVC_GET_BLACKLIST", serve<list_stations<kBlacklist>>},
    {kAddWhitelist, "ORVC_ADD_WHITELIST", serve<add_station<kWhitelist>, check_station<kWhitelist>>},
    {kDeleteWhitelist, "ORVC_DEL_WHITELIST", serve<delete_station<kWhitelist>>},
    {kListWhitelist, "ORVC_GET_WHITELIST", serve<list_stations<kWhitelist>>},
};
const Family family = {kRows};

} // namespace
