// wexond.filter.dns and its entry objects wexond.filter.dns.<n>: rules that act on one station's host-name look-ups at
// times of the week.

#include "filters/filter_rules.h"

namespace
{

enum { ENABLE, HOSTNAMES, NAME, ACTION, MAC, MODE, WEEKDAYS, TIMERANGE };

const blobmsg_policy rule_policy[] = {
    {.name = "enable", .type = BLOBMSG_TYPE_STRING},  {.name = "hostnames", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "name", .type = BLOBMSG_TYPE_STRING},    {.name = "action", .type = BLOBMSG_TYPE_INT32},
    {.name = "mac", .type = BLOBMSG_TYPE_STRING},     {.name = "mode", .type = BLOBMSG_TYPE_INT32},
    {.name = "weekdays", .type = BLOBMSG_TYPE_ARRAY}, {.name = "timerange", .type = BLOBMSG_TYPE_STRING},
};

using RuleArguments = Arguments<std::size(rule_policy)>;

// Texts fill their fields here.
constexpr size_t kTextLimit = sizeof(DnsFilterRecord::name);
constexpr size_t kTimeTextLimit = 128;

// Days 1 to 7; 0 is refused.
int take_weekdays(Call &call, const blob_attr *weekdays, DnsFilterRecord &record)
{
    auto take = [&](const blob_attr *element, size_t position) {
        uint32_t day = element_number(element);
        CALL_LOG(call, "weekdays[%zu]:%d \n\n", position, day);
        if (day - 1 > 6) {
            fail(call, "failed weekday is not valid");
            return -1;
        }
        record.weekdays |= weekday_bit(day);
        return 0;
    };
    return take_elements(call, weekdays, kMaxWeekdays, BLOBMSG_TYPE_INT32, "weekdays", take);
}

int parse_rule(Call &call, bool is_add, DnsFilterRecord &record)
{
    RuleArguments arguments(rule_policy, call.message);
    if (!arguments.require(call))
        return -1;
    CALL_LOG(call, "enable:%s / name:%s / action:%d / mac:%s / mode:%d / timerange:%s \n\n", arguments.text(ENABLE),
             arguments.text(NAME), arguments.number(ACTION), arguments.text(MAC), arguments.number(MODE),
             arguments.text(TIMERANGE));
    record.enable = wexond_str_to_code(kYesNo, arguments.text(ENABLE));
    record.action = arguments.number(ACTION);
    record.mode = arguments.number(MODE);
    copy_text(record.name, arguments.text(NAME), kTextLimit);
    copy_text(record.mac, arguments.text(MAC), kTextLimit);
    if (take_slots(call, arguments.array(HOSTNAMES), record.hostnames, kTextLimit, "hostnames") ||
        take_weekdays(call, arguments.array(WEEKDAYS), record))
        return -1;
    // Deliberate: an add takes ranges without weekdays, a set does not.
    if (is_add || record.weekdays != 0)
        parse_time_ranges(arguments.text(TIMERANGE), kTimeTextLimit, record.ranges);
    return 0;
}

void add_keys(const DnsFilterRecord &record, uint32_t weekday_bits)
{
    reply_word("enable", kYesNo, record.enable);
    reply_text("name", record.name);
    reply_int("mode", record.mode);
    reply_int("action", record.action);
    reply_text("mac", record.mac);
    reply_slots("hostnames", record.hostnames);
    reply_weekdays(record.weekdays, weekday_bits);
    reply_time_ranges(record.weekdays, record.ranges);
}

constexpr FilterKind<DnsFilterRecord> kKind = {
    .object = "wexond.filter.dns",
    .entries = &entry_lists.dns_filters,
    .add = {kAddDnsFilter, "failed to add filterdns"},
    .remove = {kDeleteDnsFilter, "failed to delete filterdns"},
    .list = {kListDnsFilters, "failed to list filterdns"},
    .set = {kSetDnsFilter, "failed to set filterdns"},
    .get = {kGetDnsFilter, "failed to get idx filtr dns"},
    .unknown_object = "failed to get index",
    .parse = parse_rule,
    .add_keys = add_keys,
};

const ubus_method methods[] = {
    UBUS_METHOD("add", SERVE_AS("wexond_filterdns_add", filter_add, kKind), rule_policy),
    UBUS_METHOD("delete", SERVE_AS("wexond_filterdns_delete", filter_delete, kKind), index_policy),
    UBUS_METHOD_NOARG("list", SERVE_AS("wexond_filterdns_list", filter_list<DnsFilterList>, kKind)),
};

const ubus_method entry_methods[] = {
    UBUS_METHOD("set", SERVE_AS("wexond_filterdns1_set", filter_entry_set, kKind), rule_policy),
    UBUS_METHOD_NOARG("get", SERVE_AS("wexond_filterdns1_get", filter_entry_get, kKind)),
};

ubus_object_type type = bus_object_type("wexond.filter.dns", methods);

} // namespace

ubus_object_type wexond_filterdns_entry_type = bus_object_type("wexond.filter.dns.", entry_methods);

ubus_object wexond_filterdns_object = {
    .name = "wexond.filter.dns",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
