// wexond.qos: the switches of quality of service. wexond.qos.classification: rules that give traffic a priority and
// markings.

#include "filters/qos_records.h"

#include <cstdio>

#include "core/arguments.h"
#include "core/call.h"
#include "core/entry.h"
#include "core/reply.h"
#include "core/vocabulary.h"

namespace
{

enum { SWITCH_QOS, SWITCH_DSCP, SWITCH_8021P };

const blobmsg_policy qos_set_policy[] = {
    {.name = "enable", .type = BLOBMSG_TYPE_STRING},
    {.name = "enabledscp", .type = BLOBMSG_TYPE_STRING},
    {.name = "enable8021p", .type = BLOBMSG_TYPE_STRING},
};

enum { PRIORITY, DSCP, VLAN8021P, NAME, PROTOCOL, SRCMAC, DSTMAC };

const blobmsg_policy add_policy[] = {
    {.name = "priority", .type = BLOBMSG_TYPE_INT32},  {.name = "dscp", .type = BLOBMSG_TYPE_INT32},
    {.name = "vlan8021p", .type = BLOBMSG_TYPE_INT32}, {.name = "name", .type = BLOBMSG_TYPE_STRING},
    {.name = "protocol", .type = BLOBMSG_TYPE_STRING}, {.name = "srcmac", .type = BLOBMSG_TYPE_STRING},
    {.name = "dstmac", .type = BLOBMSG_TYPE_STRING},
};

using AddArguments = Arguments<std::size(add_policy)>;

// --- Switches ---

// In the order of the arguments, of the requests and of the reply.
struct Switch {
    size_t argument;
    uint32_t set_type;
    uint32_t get_type;
    const char *failure;
};

const Switch switches[] = {
    {SWITCH_QOS, kSetQos, kGetQos, "Set qos status failed"},
    {SWITCH_DSCP, kSetQosDscp, kGetQosDscp, "Set dscp status failed"},
    {SWITCH_8021P, kSetQos8021p, kGetQos8021p, "Set 8021p status failed"},
};

int wexond_qos_set(Call &call)
{
    Arguments<3> arguments(qos_set_policy, call.message);
    if (arguments.require(call)) {
        // Always all three; of several failures the last one is reported.
        for (const Switch &row : switches) {
            const char *text = arguments.text(row.argument);
            CALL_LOG(call, "%s:%s \n\n", qos_set_policy[row.argument].name, text);
            if (!accepts(row.set_type, QosSwitchRecord{wexond_str_to_code(kYesNo, text)}))
                fail(call, "%s", row.failure);
        }
    }
    return send_for_set(call);
}

int wexond_qos_get(Call &call)
{
    reply_start();
    void *table = reply_open_table("wexond.qos");
    // Deliberate: no return code is looked at, and a missing answer only leaves its key out.
    for (const Switch &row : switches) {
        Answer<QosSwitchRecord> answer = ask<QosSwitchRecord>(row.get_type);
        if (answer.present())
            reply_string(qos_set_policy[row.argument].name, wexond_code_to_str(kYesNo, answer->code));
    }
    reply_close(table);
    return send_for_get(call);
}

// --- Classification ---

// The longest name that a rule is given.
constexpr size_t kNameLimit = 33;

// Deliberate: the index of an added rule is never read from the service, so that its entry's key and the reply's "idx"
// are 0.
constexpr uint32_t kAddedIndex = 0;

// The first of the protocols that the text contains, in this order; 0 where it contains none.
uint32_t find_protocol(const char *text)
{
    for (const char *protocol : {"tcp", "udp", "icmp"})
        if (strstr(text, protocol))
            return wexond_str_to_code(kIpProtocol, protocol);
    return 0;
}

ClassificationRecord parse_classification(const Call &call, const AddArguments &arguments)
{
    CALL_LOG(call, "priority:%d / dscp:%d / vlan8021p:%d / name:%s / protocol:%s / srcmac:%s / dstmac:%s \n\n",
             arguments.number(PRIORITY), arguments.number(DSCP), arguments.number(VLAN8021P), arguments.text(NAME),
             arguments.text(PROTOCOL), arguments.text(SRCMAC), arguments.text(DSTMAC));
    ClassificationRecord record{};
    record.priority = static_cast<int32_t>(arguments.number(PRIORITY));
    record.dscp = static_cast<int32_t>(arguments.number(DSCP));
    record.vlan8021p = static_cast<int32_t>(arguments.number(VLAN8021P));
    copy_text(record.name, arguments.text(NAME), kNameLimit);
    copy_text(record.srcmac, arguments.text(SRCMAC));
    copy_text(record.dstmac, arguments.text(DSTMAC));
    record.protocols[0] = find_protocol(arguments.text(PROTOCOL));
    return record;
}

int wexond_qos_classification_add(Call &call)
{
    AddArguments arguments(add_policy, call.message);
    if (arguments.require(call) &&
        exchange(call, kAddClassification, parse_classification(call, arguments), "add qos classification"))
        entry_add(&entry_lists.classifications, kAddedIndex);
    return send_for_add(call, &kAddedIndex);
}

int wexond_qos_classification_delete(Call &call)
{
    Arguments<1> arguments(index_policy, call.message);
    if (!arguments.require(call))
        return send_for_set(call);
    uint32_t index = arguments.number(IDX);
    CALL_LOG(call, "idx:%d \n\n", index);
    if (Entry *entry = entry_find(&entry_lists.classifications, index)) {
        // Deliberate: the entry goes before the service is asked, and whatever it answers.
        entry_remove(&entry_lists.classifications, entry);
        exchange(call, kDeleteClassification, ClassificationIndexRecord{index}, "delete qos classification");
    } else {
        fail(call, "not found");
    }
    return send_for_set(call);
}

// Appends the record's protocols to the text. Deliberate: the text is carried from one rule to the next, so that a rule
// lists its predecessors' protocols before its own.
void append_protocols(const ClassificationRecord &record, Text<31> &text)
{
    for (const le32 &protocol : record.protocols) {
        size_t length = strlen(text.data);
        if (protocol != 0)
            snprintf(text.data + length, sizeof(text.data) - length, "%s%s", length ? "," : "",
                     wexond_code_to_str(kIpProtocol, protocol));
    }
}

void add_side(const char *const (&keys)[4], const char (&ip)[17], const char (&mask)[17], uint32_t port,
              const char (&mac)[17])
{
    auto compact = read_text(mac);
    wexond_mac_compact(compact.data);
    reply_text(keys[0], ip);
    reply_text(keys[1], mask);
    reply_string(keys[2], wexond_code_to_str(kPlainNumber, port));
    reply_string(keys[3], compact.data);
}

void add_classification(const ClassificationRecord &record, Text<31> &protocols)
{
    append_protocols(record, protocols);
    void *table = reply_open_table("");
    reply_int("idx", record.index);
    reply_text("name", record.name);
    reply_int("priority", static_cast<int32_t>(record.priority));
    reply_int("dscp", static_cast<int32_t>(record.dscp));
    reply_int("vlan8021p", static_cast<int32_t>(record.vlan8021p));
    reply_string("protocol", protocols.data);
    add_side({"srcip", "srcmask", "srcport", "srcmac"}, record.srcip, record.srcmask, record.srcport, record.srcmac);
    add_side({"dstip", "dstmask", "dstport", "dstmac"}, record.dstip, record.dstmask, record.dstport, record.dstmac);
    reply_close(table);
}

int wexond_qos_classification_list(Call &call)
{
    if (Answer<ClassificationList> answer =
            ask<ClassificationList>(call, kListClassifications, "get qos classification list")) {
        Text<31> protocols{};
        reply_start();
        void *array = reply_open_array("wexond.qos.classification");
        for (size_t i = 0; i < entry_count(*answer); i++)
            add_classification(answer->entries[i], protocols);
        reply_close(array);
        entry_reconcile(&entry_lists.classifications, *answer);
    }
    return send_for_get(call);
}

const ubus_method qos_methods[] = {
    UBUS_METHOD("set", SERVE(wexond_qos_set), qos_set_policy),
    UBUS_METHOD_NOARG("get", SERVE(wexond_qos_get)),
};

const ubus_method classification_methods[] = {
    UBUS_METHOD("add", SERVE(wexond_qos_classification_add), add_policy),
    UBUS_METHOD("delete", SERVE(wexond_qos_classification_delete), index_policy),
    UBUS_METHOD_NOARG("list", SERVE(wexond_qos_classification_list)),
};

ubus_object_type qos_type = bus_object_type("wexond.qos", qos_methods);
ubus_object_type classification_type = bus_object_type("wexond.qos.classification", classification_methods);

} // namespace

ubus_object wexond_qos_object = {
    .name = "wexond.qos",
    .type = &qos_type,
    .methods = qos_methods,
    .n_methods = ARRAY_SIZE(qos_methods),
};

ubus_object wexond_qos_classification_object = {
    .name = "wexond.qos.classification",
    .type = &classification_type,
    .methods = classification_methods,
    .n_methods = ARRAY_SIZE(classification_methods),
};
