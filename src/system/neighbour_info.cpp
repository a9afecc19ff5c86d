// wexond.neighbourinfo: the neighbouring access points that the two radios hear.

#include "system/neighbour_info_records.h"

#include "core/arguments.h"
#include "core/call.h"
#include "core/reply.h"
#include "core/vocabulary.h"

namespace
{

void add_neighbour(uint32_t band, const NeighbourRecord &neighbour)
{
    void *table = reply_open_table("");
    reply_word("band", kRadioBand, band);
    reply_text("ssid", neighbour.ssid);
    reply_mac("bssid", neighbour.bssid);
    reply_string("networktype", "AP");
    reply_int("channel", neighbour.channel);
    reply_int("rssi", neighbour.rssi);
    reply_word("standard", kRadioStandard, neighbour.standards);
    reply_close(table);
}

bool add_band(Call &call, uint32_t band)
{
    NeighbourRequest request{};
    request.band = band;
    Answer<NeighbourList> answer = ask<NeighbourList>(call, kGetNeighbours, request, "get neighbourinfo");
    if (!answer) {
        CALL_LOG(call, "Failed to get neighbour info of %s\n", wexond_code_to_str(kRadioBand, band));
        return false;
    }
    for (size_t i = 0; i < entry_count(*answer); i++)
        add_neighbour(band, answer->entries[i]);
    return true;
}

int wexond_neighbourinfo_get(Call &call)
{
    reply_start();
    void *array = reply_open_array("wexond.neighbourinfo");
    if (add_band(call, 0) && add_band(call, 1))
        reply_close(array);
    return send_for_get(call);
}

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("get", SERVE(wexond_neighbourinfo_get)),
};

ubus_object_type type = bus_object_type("wexond.neighbourinfo", methods);

} // namespace

ubus_object wexond_neighbourinfo_object = {
    .name = "wexond.neighbourinfo",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
