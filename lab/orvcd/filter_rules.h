// The rules of both filters: their daily time ranges, and the requests about them.
#pragma once

#include "checks.h"
#include "core/shared_records.h"
#include "records.h"
#include "service.h"

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

// The rules at a key of the home, by the record of their list answer.
template <const char *key, typename List> struct Rules {
    using Rule = std::remove_all_extents_t<decltype(List::entries)>;

    static Reply list(const Json &home) { return to_list<List>(home.at(key)); }
    // The answer holds the new index.
    static Reply add(Json &home, const Rule &request)
    {
        Rule record = request;
        return add_entry(home[key], record, std::size(List{}.entries)) ? Reply(record) : Reply(kFull);
    }
    static Reply set(Json &home, const Rule &record)
    {
        return store_entry(home[key], record) ? Reply(record) : Reply(kNotFound);
    }
    static Reply get(const Json &home, const Rule &request)
    {
        const Json *entry = find_entry(home.at(key), request.index);
        return entry ? Reply(to_record<Rule>(*entry)) : Reply(kNotFound);
    }
    static Reply remove(Json &home, const Rule &request)
    {
        return remove_entry(home[key], request.index) ? kOk : kNotFound;
    }
};
