// The daily time range that the rules of both filters have.
#pragma once

#include "checks.h"
#include "core/shared_records.h"
#include "records.h"

inline void describe(auto &&field, TimeRange &range)
{
    field("start", range.start, TimeOfDay{});
    field("end", range.end, TimeOfDay{});
}

// The time ranges of both kinds of rule. A range may pass midnight.
template <typename Rule> ReturnCode check_rule(const Rule &rule)
{
    constexpr uint32_t kDay = 24 * 60 * 60;
    if (rule.enable > 1)
        return kBadSwitch;
    if (text_of(rule.name).empty())
        return kBadName;
    if (rule.weekdays > 127)
        return kBadWeekday;
    for (const TimeRange &range : rule.ranges)
        if (range.start > kDay || range.end > kDay || (range.start == range.end && range.start != 0))
            return kBadTime;
    return kOk;
}
