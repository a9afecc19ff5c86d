#include "internal.h"

#include <cstdlib>
#include <cstring>

namespace
{

const blob_attr_info kAttributeTypes[] = {
    {},                         // unspec
    {.type = BLOB_ATTR_INT32},  // status
    {.type = BLOB_ATTR_STRING}, // object path
    {.type = BLOB_ATTR_INT32},  // object id
    {.type = BLOB_ATTR_STRING}, // method
    {.type = BLOB_ATTR_INT32},  // object type
    {.type = BLOB_ATTR_NESTED}, // signature
    {.type = BLOB_ATTR_NESTED}, // data
    {.type = BLOB_ATTR_INT32},  // target
    {.type = BLOB_ATTR_INT8},   // active
    {.type = BLOB_ATTR_INT8},   // no reply
    {.type = BLOB_ATTR_NESTED}, // subscribers
    {.type = BLOB_ATTR_STRING}, // user
    {.type = BLOB_ATTR_STRING}, // group
};
static_assert(ARRAY_SIZE(kAttributeTypes) == UBUS_ATTR_MAX);

} // namespace

void parse_attributes(const blob_attr *body, Attributes &attributes)
{
    blob_parse_untrusted(const_cast<blob_attr *>(body), blob_raw_len(body), attributes, kAttributeTypes, UBUS_ATTR_MAX);
}

bool put_data(blob_buf *message, blob_attr *data)
{
    return blob_put(message, UBUS_ATTR_DATA, data ? blob_data(data) : nullptr,
                    static_cast<unsigned int>(data ? blob_len(data) : 0));
}

bool keep_message(list_head *queue, const Message &message)
{
    const size_t length = blob_raw_len(message.body);
    auto *kept = static_cast<KeptMessage *>(malloc(sizeof(KeptMessage) + length));

    if (!kept)
        return false;
    kept->message.header = message.header;
    kept->message.fd = -1; // who asks for it late has lost it
    kept->message.body = reinterpret_cast<blob_attr *>(kept + 1);
    memcpy(kept->message.body, message.body, length);
    list_add_tail(&kept->list, queue);
    return true;
}

KeptMessage *next_kept(list_head *queue)
{
    if (list_empty(queue))
        return nullptr;
    KeptMessage *kept = list_first_entry(queue, KeptMessage, list);
    list_del(&kept->list);
    return kept;
}

void drop_kept(list_head *queue)
{
    KeptMessage *kept, *next;

    list_for_each_entry_safe (kept, next, queue, list) {
        list_del(&kept->list);
        free(kept);
    }
}
