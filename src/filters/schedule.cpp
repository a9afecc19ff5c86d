#include "filters/schedule.h"

#include <cstdio>

#include "core/reply.h"

namespace
{

constexpr uint32_t kHour = 3600;
constexpr uint32_t kMinute = 60;

uint32_t seconds_of(int hour, int minute)
{
    return static_cast<uint32_t>(hour) * kHour + static_cast<uint32_t>(minute) * kMinute;
}

bool ends_list(const TimeRange &range)
{
    return range.start == 0 && range.end == 0;
}

} // namespace

void parse_time_ranges(const char *text, size_t limit, TimeRanges &ranges)
{
    Text<128> work;
    snprintf(work.data, std::min(limit + 1, sizeof(work.data)), "%s", text);
    size_t count = 0;
    char *rest;
    for (char *piece = strtok_r(work.data, ",", &rest); piece && count < std::size(ranges);
         piece = strtok_r(nullptr, ",", &rest)) {
        int start_hour = 0, start_minute = 0, end_hour = 0, end_minute = 0;
        // NOLINTNEXTLINE(cert-err34-c): what does not scan stays 0, and no range is refused
        sscanf(piece, "%d:%d-%d:%d", &start_hour, &start_minute, &end_hour, &end_minute);
        ranges[count++] = {seconds_of(start_hour, start_minute), seconds_of(end_hour, end_minute)};
    }
}

void reply_weekdays(uint32_t mask, uint32_t bits)
{
    void *array = reply_open_array("weekdays");
    for (uint32_t bit = 0; bit < bits; bit++)
        if (mask & (1u << bit))
            reply_int("", bit == 0 ? 7 : bit);
    reply_close(array);
}

// A whole day, 0 to 86400, reads "00:00-24:00": agents know it so.
void reply_time_ranges(uint32_t weekdays, const TimeRanges &ranges)
{
    char text[128] = "";
    size_t length = 0;
    for (const TimeRange &range : ranges) {
        if (weekdays == 0 || ends_list(range) || length >= sizeof(text))
            break;
        uint32_t start = range.start, end = range.end;
        length += snprintf(text + length, sizeof(text) - length, "%s%02u:%02u-%02u:%02u", length ? "," : "",
                           start / kHour, start / kMinute % 60, end / kHour, end / kMinute % 60);
    }
    reply_string("timerange", text);
}
