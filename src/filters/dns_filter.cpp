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
constexpr size_t kTextLimit = 32;
constexpr size_t kTimeTextLimit = 128;

// Days 1 to 7; 0 is refused.
int parse_weekdays(const blob_attr *weekdays, DnsFilterRecord &record, const char *function, Status *status)
{
    int count = 0;
    for (const blob_attr *element : Elements(weekdays)) {
        if (count == kMaxWeekdays)
            break;
        uint32_t day = element_number(element);
        WEXOND_LOG_AS(function, "weekdays[%d]:%d \n\n", count, day);
        if (day - 1 > 6) {
            wexond_fail(status, "failed weekday is not valid");
            return -1;
        }
        record.weekdays = record.weekdays | weekday_bit(day);
        count++;
    }
    return 0;
}

int check_arguments(const RuleArguments &arguments, Status *status)
{
    if (!arguments.require(status))
        return -1;
    if (check_elements(arguments.array(HOSTNAMES), BLOBMSG_TYPE_STRING, "hostnames", status) ||
        check_elements(arguments.array(WEEKDAYS), BLOBMSG_TYPE_INT32, "weekdays", status))
        return -1;
    return 0;
}

int parse_rule(blob_attr *message, bool is_add, const char *function, DnsFilterRecord &record, Status *status)
{
    RuleArguments arguments(rule_policy, message);
    if (check_arguments(arguments, status))
        return -1;
    WEXOND_LOG_AS(function, "enable:%s / name:%s / action:%d / mac:%s / mode:%d / timerange:%s \n\n",
                  arguments.text(ENABLE), arguments.text(NAME), arguments.number(ACTION), arguments.text(MAC),
                  arguments.number(MODE), arguments.text(TIMERANGE));
    record.enable = wexond_str_to_code(kYesNo, arguments.text(ENABLE));
    record.action = arguments.number(ACTION);
    record.mode = arguments.number(MODE);
    copy_text(record.name, arguments.text(NAME), kTextLimit);
    copy_text(record.mac, arguments.text(MAC), kTextLimit);
    copy_slots(arguments.array(HOSTNAMES), record.hostnames, kTextLimit, function, "hostnames");
    if (parse_weekdays(arguments.array(WEEKDAYS), record, function, status))
        return -1;
    // Deliberate: an add takes ranges without weekdays, a set does not.
    if (is_add || record.weekdays != 0)
        parse_time_ranges(arguments.text(TIMERANGE), kTimeTextLimit, record.ranges);
    return 0;
}

void add_keys(const DnsFilterRecord &record, uint32_t weekday_bits)
{
    reply_string("enable", wexond_code_to_str(kYesNo, record.enable));
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
    .add = {kAddDnsFilter, "failed to add filterdns", "wexond_filterdns_add"},
    .remove = {kDeleteDnsFilter, "failed to delete filterdns", "wexond_filterdns_delete"},
    .list = {kListDnsFilters, "failed to list filterdns", "wexond_filterdns_list"},
    .set = {kSetDnsFilter, "failed to set filterdns", "wexond_filterdns1_set"},
    .get = {kGetDnsFilter, "failed to get idx filtr dns", "wexond_filterdns1_get"},
    .unknown_object = "failed to get index",
    .parse = parse_rule,
    .add_keys = add_keys,
};

constexpr auto wexond_filterdns_add = handle_with<filter_add<DnsFilterRecord>, kKind>;
constexpr auto wexond_filterdns_delete = handle_with<filter_delete<DnsFilterRecord>, kKind>;
constexpr auto wexond_filterdns_list = handle_with<filter_list<DnsFilterRecord, DnsFilterList>, kKind>;
constexpr auto wexond_filterdns1_set = handle_with<filter_entry_set<DnsFilterRecord>, kKind>;
constexpr auto wexond_filterdns1_get = handle_with<filter_entry_get<DnsFilterRecord>, kKind>;

const ubus_method methods[] = {
    UBUS_METHOD("add", wexond_filterdns_add, rule_policy),
    UBUS_METHOD("delete", wexond_filterdns_delete, index_policy),
    UBUS_METHOD_NOARG("list", wexond_filterdns_list),
};

const ubus_method entry_methods[] = {
    UBUS_METHOD("set", wexond_filterdns1_set, rule_policy),
    UBUS_METHOD_NOARG("get", wexond_filterdns1_get),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond.filter.dns", methods);

} // namespace

ubus_object_type wexond_filterdns_entry_type = UBUS_OBJECT_TYPE("wexond.filter.dns.", entry_methods);

ubus_object wexond_filterdns_object = {
    .name = "wexond.filter.dns",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
