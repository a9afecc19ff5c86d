#include "events.h"

#include <stdexcept>

namespace
{

// A value as a record that has room for all of it gives it back.
Json as_kept(Json value)
{
    if (value.is_string())
        return encode_text(value.get<std::string>());
    while (value.is_array() && !value.empty() && value.back() == 0)
        value.erase(value.size() - 1);
    return value;
}

} // namespace

void expect_kept(const Json &fields, const Json &kept)
{
    for (const auto &[field, value] : fields.items())
        if (kept.at(field) != as_kept(value))
            throw std::runtime_error(field + ": the value does not fit its field");
}
