#include "stations.h"

#include <ctime>

#include "effects.h"
#include "events/event_records.h"
#include "records.h"

std::string colon_mac(const std::string &mac)
{
    if (mac.size() != 12)
        return mac;
    std::string colons;
    for (size_t at = 0; at < mac.size(); at += 2)
        colons += (at ? ":" : "") + mac.substr(at, 2);
    return colons;
}

void set_station_active(Json &home, const std::string &mac, bool active)
{
    Json *station = find_station(home, mac);
    if (!station)
        return;
    (*station)["active"] = active;
    (*station)["online_time"] = 0;
    (*station)["changed_at"] = static_cast<uint32_t>(time(nullptr));
    StationEvent event{};
    copy_text(event.mac, mac.c_str());
    event.active = active;
    announce(kEventStationState, event);
}
