// The access lists' rules for the program's own objects, kept for its handlers.
#include "internal.h"

#include <cstdlib>
#include <cstring>

namespace
{

int compare_keys(const void *k1, const void *k2, void *)
{
    return strcmp(static_cast<const ubus_acl_key *>(k1)->object, static_cast<const ubus_acl_key *>(k2)->object);
}

} // namespace

AVL_TREE(acl_objects, compare_keys, true, nullptr);

namespace
{

void forget_all()
{
    acl_object *object, *next;

    avl_for_each_element_safe (&acl_objects, object, avl, next) {
        avl_delete(&acl_objects, &object->avl);
        free(object);
    }
}

// Everything in one piece of memory: the entry, and behind it the message that its texts stand in.
void add_rule(blob_attr *rule)
{
    enum { OBJECT, USER, GROUP, ACL, COUNT };
    static const blobmsg_policy policy[] = {{"obj", BLOBMSG_TYPE_STRING},
                                            {"user", BLOBMSG_TYPE_STRING},
                                            {"group", BLOBMSG_TYPE_STRING},
                                            {"acl", BLOBMSG_TYPE_TABLE}};
    blob_attr *fields[COUNT];

    auto *object = static_cast<acl_object *>(calloc(1, sizeof(acl_object) + blob_pad_len(rule)));
    if (!object)
        return;
    auto *copy = static_cast<blob_attr *>(memcpy(object + 1, rule, blob_raw_len(rule)));
    blobmsg_parse_attr(policy, COUNT, fields, copy);
    if (!fields[OBJECT] || !fields[ACL] || !(fields[USER] || fields[GROUP])) {
        free(object);
        return;
    }
    object->key = {.user = blobmsg_get_string(fields[USER]),
                   .group = blobmsg_get_string(fields[GROUP]),
                   .object = blobmsg_get_string(fields[OBJECT])};
    object->acl = fields[ACL];
    object->avl.key = &object->key;
    avl_insert(&acl_objects, &object->avl);
}

void take_rules(ubus_request *, int, blob_attr *msg)
{
    static const blobmsg_policy policy = {"acl", BLOBMSG_TYPE_ARRAY};
    blob_attr *rules, *rule;
    size_t rem;

    forget_all();
    blobmsg_parse(&policy, 1, &rules, blob_data(msg), static_cast<unsigned int>(blob_len(msg)));
    blobmsg_for_each_attr (rule, rules, rem)
        if (blobmsg_check_attr(rule, false) && blobmsg_type(rule) == BLOBMSG_TYPE_TABLE)
            add_rule(rule);
}

ubus_request query;

void ask_for_rules(ubus_context *ctx)
{
    if (query.ctx)
        ubus_abort_request(query.ctx, &query);
    query.ctx = nullptr;
    if (ubus_invoke_async(ctx, UBUS_SYSTEM_OBJECT_ACL, "query", nullptr, &query) != UBUS_STATUS_OK)
        return;
    query.data_cb = take_rules;
    query.complete_cb = [](ubus_request *req, int) { req->ctx = nullptr; };
    ubus_complete_request_async(ctx, &query);
}

void rules_changed(ubus_context *ctx, ubus_event_handler *, const char *, blob_attr *)
{
    ask_for_rules(ctx);
}

ubus_event_handler sequence_handler = {.cb = rules_changed};
ubus_context *listener; // that the handler is registered with

} // namespace

int ubus_register_acl(ubus_context *ctx)
{
    const int status = ubus_register_event_handler(ctx, &sequence_handler, "ubus.acl.sequence");

    if (status != UBUS_STATUS_OK)
        return status;
    listener = ctx;
    ask_for_rules(ctx);
    return status;
}

void forget_listener(const ubus_context *ctx)
{
    if (listener != ctx)
        return;
    sequence_handler = {.cb = rules_changed};
    query.ctx = nullptr;
    listener = nullptr;
}
