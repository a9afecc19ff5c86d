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
    auto bssid = read_text(neighbour.bssid);
    wexond_mac_compact(bssid.data);
    void *table = reply_open_table("");
    reply_string("band", wexond_code_to_str(kRadioBand, band));
    reply_text("ssid", neighbour.ssid);
    reply_string("bssid", bssid.data);
    reply_string("networktype", "AP");
    reply_int("channel", neighbour.channel);
    reply_int("rssi", neighbour.rssi);
    reply_string("standard", wexond_code_to_str(kRadioStandard, neighbour.standards));
    reply_close(table);
}

bool add_band(uint32_t band, Status *status)
{
    NeighbourRequest request{};
    request.band = band;
    Answer<NeighbourList> answer = ask<NeighbourList>(kGetNeighbours, request);
    if (!answer.check("get neighbourinfo", status)) {
        WEXOND_LOG_AS("wexond_neighbourinfo_get", "Failed to get neighbour info of %s\n",
                      wexond_code_to_str(kRadioBand, band));
        return false;
    }
    for (size_t i = 0; i < entry_count(*answer); i++)
        add_neighbour(band, answer->entries[i]);
    return true;
}

int wexond_neighbourinfo_get(ubus_context *, ubus_object *object, ubus_request_data *request, const char *method,
                             blob_attr *)
{
    Call call(object, method, __func__);
    reply_start();
    void *array = reply_open_array("wexond.neighbourinfo");
    if (add_band(0, &call.status) && add_band(1, &call.status))
        reply_close(array);
    return wexond_send_for_get(request, &call.status);
}

const ubus_method methods[] = {
    UBUS_METHOD_NOARG("get", wexond_neighbourinfo_get),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond.neighbourinfo", methods);

} // namespace

ubus_object wexond_neighbourinfo_object = {
    .name = "wexond.neighbourinfo",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
