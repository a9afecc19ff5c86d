// The daily time range that the rules of both filters have.
#pragma once

#include "core/shared_records.h"
#include "records.h"

inline void describe(auto &&field, TimeRange &range)
{
    field("start", range.start, TimeOfDay{});
    field("end", range.end, TimeOfDay{});
}
