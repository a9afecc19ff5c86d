// The two radios and what concerns all of Wi-Fi.

#include "wifi/radio_records.h"

#include "core/backend.h"
#include "core/catalogue.h"

void wexond_channel_scan(uint32_t band)
{
    if (band > 1)
        return;
    ChannelScoreList request{};
    request.band = band;
    Status unreported{};
    // Flag 0 and no answer record are this request's own.
    Answer<ReturnCode> answer(wexond_send_msg(kStartChannelScan, 0, &request, sizeof(request), 0));
    answer.check("channelscan", &unreported);
}
