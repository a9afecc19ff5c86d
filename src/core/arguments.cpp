#include "core/arguments.h"

int wexond_check_required(const blobmsg_policy *policy, blob_attr *const *table, size_t count, Status *status)
{
    for (size_t i = 0; i < count; i++) {
        if (table[i])
            continue;
        wexond_fail(status, "required parameter: %s", policy[i].name);
        return -1;
    }
    return 0;
}

// An iterator on `element` where it is whole within the `left` bytes, else the end.
static Elements::Iterator settle(const void *element, size_t left)
{
    auto *attr = static_cast<blob_attr *>(const_cast<void *>(element));
    if (left < sizeof(blob_attr) || blob_pad_len(attr) < sizeof(blob_attr) || blob_pad_len(attr) > left ||
        !blobmsg_check_attr(attr, false))
        return {nullptr, 0};
    return {attr, left};
}

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

int check_elements(const blob_attr *array, int type, const char *name, Status *status)
{
    size_t left = blobmsg_data_len(array);
    for (const blob_attr *element : Elements(array)) {
        if (blobmsg_type(element) != type)
            break;
        left -= blob_pad_len(element);
    }
    if (left == 0)
        return 0;
    wexond_fail(status, "unrecognized parameter: %s", name);
    return -1;
}
