#include "core/arguments.h"

int wexond_check_required(const blobmsg_policy *policy, blob_attr *const *table, size_t count, Status *status)
{
    for (size_t i = 0; i < count; i++) {
        if (table[i])
            continue;
        if (status)
            fail(*status, "required parameter: %s", policy[i].name);
        return -1;
    }
    return 0;
}

namespace
{

// An iterator on `element` where it is whole within the `left` bytes, else the end.
Elements::Iterator settle(const void *element, size_t left)
{
    auto *attr = static_cast<blob_attr *>(const_cast<void *>(element));
    if (left < sizeof(blob_attr) || blob_pad_len(attr) < sizeof(blob_attr) || blob_pad_len(attr) > left ||
        !blobmsg_check_attr(attr, false))
        return {nullptr, 0};
    return {attr, left};
}

} // namespace

Elements::Elements(const blob_attr *array) : array_(array) {}

Elements::Iterator Elements::begin() const
{
    return settle(blobmsg_data(array_), blobmsg_data_len(array_));
}

Elements::Iterator &Elements::Iterator::operator++()
{
    *this = settle(blob_next(element), left - blob_pad_len(element));
    return *this;
}

const char *element_text(const blob_attr *element)
{
    if (blobmsg_type(element) != BLOBMSG_TYPE_STRING)
        return nullptr;
    return blobmsg_get_string(const_cast<blob_attr *>(element));
}

uint32_t element_number(const blob_attr *element)
{
    uint32_t value = 0;
    memcpy(&value, blobmsg_data(element), std::min<size_t>(sizeof(value), blobmsg_data_len(element)));
    return be32_to_cpu(value);
}

int check_elements(Call &call, const blob_attr *array, size_t limit, int type, const char *name)
{
    return take_elements(
        call, array, limit, type, name, [](const blob_attr *, size_t) { return 0; });
}

void log_argument(const Call &call, const char *name, const blob_attr *value, const char *number_format)
{
    auto *argument = const_cast<blob_attr *>(value);
    if (blobmsg_type(value) == BLOBMSG_TYPE_STRING)
        CALL_LOG(call, "%s:%s \n\n", name, blobmsg_get_string(argument));
    else if (blobmsg_type(value) == BLOBMSG_TYPE_INT32)
        CALL_LOG(call, number_format, name, blobmsg_get_u32(argument));
}
