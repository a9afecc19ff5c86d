// The neighbouring access points that each radio hears.

#include "records.h"
#include "service.h"
#include "system/neighbour_info_records.h"

static void describe(auto &&, NeighbourRequest &) {}

static void describe_message(auto &&field, NeighbourRequest &request)
{
    field("band", request.band, Names{kBands});
}

static void describe(auto &&field, NeighbourRecord &record)
{
    field("ssid", record.ssid);
    field("bssid", record.bssid);
    field("channel", record.channel);
    field("rssi", record.rssi);
    field("standards", record.standards, BitSet{kStandards});
}

namespace
{

Reply get_neighbours(const Json &home, const NeighbourRequest &request)
{
    const Json *radio = radio_of(home, request.band);
    if (!radio)
        return kNotFound;
    return to_list<NeighbourList>(radio->at("neighbours"));
}

constexpr Row kRows[] = {
    {kGetNeighbours, "ORVC_GET_NEIGHBOURINFO", serve<get_neighbours>},
};
const Family family = {kRows};

} // namespace
