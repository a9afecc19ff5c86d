// The answer to a list request: a count, then as many slots for records as the list can hold.
#pragma once

#include <optional>
#include <vector>

#include "tests/support/bytes.h"

namespace test_support
{

// Records that are shorter than their slot leave its rest zero. The count is their number unless it is given.
inline Bytes list_answer(size_t slots, size_t slot_size, const std::vector<Bytes> &records,
                         std::optional<uint32_t> count = {})
{
    Bytes answer(4 + slots * slot_size);
    answer.u32(0, count.value_or(static_cast<uint32_t>(records.size())));
    for (size_t i = 0; i < records.size(); i++)
        answer.text(4 + i * slot_size, records[i].data());
    return answer;
}

} // namespace test_support
