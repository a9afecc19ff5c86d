// When a filter rule applies: weekdays and times of day, in arguments, records and replies.
#pragma once

#include "core/bus.h"
#include "core/shared_records.h"

using TimeRanges = TimeRange[3];

// Weekdays taken from an argument; further ones do not count.
constexpr size_t kMaxWeekdays = 7;

// Day 1 is Monday, 7 (or 0) Sunday, which is bit 0.
constexpr uint32_t weekday_bit(uint32_t day)
{
    return 1u << (day % 7);
}

// "8:00-12:30,13:00-18:00", of which at most `limit` characters are read (128 at most), into at most three ranges.
// Numbers are not checked; what does not scan counts as 0.
void parse_time_ranges(const char *text, size_t limit, TimeRanges &ranges);

// "weekdays", an array of day numbers with Sunday, as 7, first. Only the lowest `bits` bits of the mask are looked at.
void reply_weekdays(uint32_t mask, uint32_t bits);

// "timerange", empty without weekdays.
void reply_time_ranges(uint32_t weekdays, const TimeRanges &ranges);
