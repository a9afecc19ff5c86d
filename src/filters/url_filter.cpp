// wexond.filter.url and its entry objects wexond.filter.url.<n>: rules that block URLs for stations at times of the
// week.

#include "filters/filter_rules.h"

namespace
{

enum { ENABLE, URLS, NAME, MACS, MODE, WEEKDAYS, TIMERANGE };

const blobmsg_policy rule_policy[] = {
    {.name = "enable", .type = BLOBMSG_TYPE_STRING},    {.name = "urls", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "name", .type = BLOBMSG_TYPE_STRING},      {.name = "macs", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "mode", .type = BLOBMSG_TYPE_INT32},       {.name = "weekdays", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "timerange", .type = BLOBMSG_TYPE_STRING},
};

using RuleArguments = Arguments<std::size(rule_policy)>;

// Texts keep their NUL here.
constexpr size_t kTextLimit = 31;
constexpr size_t kTimeTextLimit = 127;
constexpr size_t kCompactMacLength = 12;

// Stations are given as twelve hexadecimal digits and sent in colon form.
int parse_macs(const blob_attr *macs, UrlFilterRecord &record, const char *function, Status *status)
{
    int count = 0;
    for (const blob_attr *element : Elements(macs)) {
        if (count == std::ssize(record.macs))
            break;
        const char *text = element_text(element);
        WEXOND_LOG_AS(function, "macs[%d]:%s \n\n", count, text);
        auto &slot = record.macs[count];
        copy_text(slot, text, kTextLimit);
        if (strlen(slot) != kCompactMacLength) {
            wexond_fail(status, "aszMac[%d]:%s", count, text);
            return -1;
        }
        wexond_mac_colon(slot);
        count++;
    }
    return 0;
}

// Days 0 to 7, 0 and 7 being Sunday.
int parse_weekdays(const blob_attr *weekdays, UrlFilterRecord &record, const char *function, Status *status)
{
    int count = 0;
    for (const blob_attr *element : Elements(weekdays)) {
        if (count == kMaxWeekdays)
            break;
        uint32_t day = element_number(element);
        WEXOND_LOG_AS(function, "weekdays[%d]:%d \n\n", count, day);
        if (day > 7) {
            wexond_fail(status, "auiWeekday[%d]:%d", count, day);
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
    if (check_elements(arguments.array(URLS), BLOBMSG_TYPE_STRING, "urls", status) ||
        check_elements(arguments.array(MACS), BLOBMSG_TYPE_STRING, "macs", status) ||
        check_elements(arguments.array(WEEKDAYS), BLOBMSG_TYPE_INT32, "weekdays", status))
        return -1;
    return 0;
}

int parse_rule(blob_attr *message, bool is_add, const char *function, UrlFilterRecord &record, Status *status)
{
    RuleArguments arguments(rule_policy, message);
    if (check_arguments(arguments, status))
        return -1;
    WEXOND_LOG_AS(function, "enable:%s / name:%s / mode:%d / timerange:%s \n\n", arguments.text(ENABLE),
                  arguments.text(NAME), arguments.number(MODE), arguments.text(TIMERANGE));
    record.enable = wexond_str_to_code(kYesNo, arguments.text(ENABLE));
    record.mode = arguments.number(MODE);
    copy_text(record.name, arguments.text(NAME), kTextLimit);
    copy_slots(arguments.array(URLS), record.urls, kTextLimit, function, "urls");
    if (parse_macs(arguments.array(MACS), record, function, status) ||
        parse_weekdays(arguments.array(WEEKDAYS), record, function, status))
        return -1;
    // Deliberate: an add takes ranges without weekdays, a set does not.
    if (is_add || record.weekdays != 0)
        parse_time_ranges(arguments.text(TIMERANGE), kTimeTextLimit, record.ranges);
    return 0;
}

// Stations are reported in the form in which they are given.
void add_macs(const UrlFilterRecord &record)
{
    void *array = reply_open_array("macs");
    for (const auto &slot : record.macs) {
        if (!slot[0])
            break;
        auto mac = read_text(slot);
        wexond_mac_compact(mac.data);
        reply_string("", mac.data);
    }
    reply_close(array);
}

void add_keys(const UrlFilterRecord &record, uint32_t weekday_bits)
{
    reply_string("enable", wexond_code_to_str(kYesNo, record.enable));
    reply_text("name", record.name);
    reply_int("mode", record.mode);
    reply_slots("urls", record.urls);
    add_macs(record);
    reply_weekdays(record.weekdays, weekday_bits);
    reply_time_ranges(record.weekdays, record.ranges);
}

constexpr FilterKind<UrlFilterRecord> kKind = {
    .object = "wexond.filter.url",
    .entries = &entry_lists.url_filters,
    .add = {kAddUrlFilter, "ORVC_ADD_FILTERURL failed", "wexond_filterurl_add"},
    .remove = {kDeleteUrlFilter, "ORVC_DEL_FILTERURL failed", "wexond_filterurl_delete"},
    .list = {kListUrlFilters, "failed to get filter url", "wexond_filterurl_list"},
    .set = {kSetUrlFilter, "ORVC_SET_FILTERURL failed", "wexond_filterurl1_set"},
    .get = {kGetUrlFilter, "failed to get index filtr url", "wexond_filterurl1_get"},
    .unknown_object = nullptr,
    .parse = parse_rule,
    .add_keys = add_keys,
};

constexpr auto wexond_filterurl_add = handle_with<filter_add<UrlFilterRecord>, kKind>;
constexpr auto wexond_filterurl_delete = handle_with<filter_delete<UrlFilterRecord>, kKind>;
constexpr auto wexond_filterurl_list = handle_with<filter_list<UrlFilterRecord, UrlFilterList>, kKind>;
constexpr auto wexond_filterurl1_set = handle_with<filter_entry_set<UrlFilterRecord>, kKind>;
constexpr auto wexond_filterurl1_get = handle_with<filter_entry_get<UrlFilterRecord>, kKind>;

// Deliberate: the static object offers the entry methods too; there they find no rule.
// clang-format off
const ubus_method methods[] = {
    UBUS_METHOD("add", wexond_filterurl_add, rule_policy),
    UBUS_METHOD("delete", wexond_filterurl_delete, index_policy),
    UBUS_METHOD_NOARG("list", wexond_filterurl_list),
    UBUS_METHOD("set", wexond_filterurl1_set, rule_policy),
    UBUS_METHOD_NOARG("get", wexond_filterurl1_get),
};
// clang-format on

const ubus_method entry_methods[] = {
    UBUS_METHOD("set", wexond_filterurl1_set, rule_policy),
    UBUS_METHOD_NOARG("get", wexond_filterurl1_get),
};

ubus_object_type type = UBUS_OBJECT_TYPE("wexond.filter.url", methods);

} // namespace

ubus_object_type wexond_filterurl_entry_type = UBUS_OBJECT_TYPE("wexond.filter.url.", entry_methods);

ubus_object wexond_filterurl_object = {
    .name = "wexond.filter.url",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
