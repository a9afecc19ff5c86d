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
constexpr size_t kTextLimit = sizeof(UrlFilterRecord::name) - 1;
constexpr size_t kTimeTextLimit = 127;
constexpr size_t kCompactMacLength = 12;

// Stations are given as twelve hexadecimal digits and sent in colon form.
int take_macs(Call &call, const blob_attr *macs, UrlFilterRecord &record)
{
    auto take = [&](const blob_attr *element, size_t position) {
        const char *text = element_text(element);
        CALL_LOG(call, "macs[%zu]:%s \n\n", position, text);
        auto &slot = record.macs[position];
        copy_text(slot, text, kTextLimit);
        if (strlen(slot) != kCompactMacLength) {
            fail(call, "aszMac[%zu]:%s", position, text);
            return -1;
        }
        wexond_mac_colon(slot);
        return 0;
    };
    return take_elements(call, macs, std::size(record.macs), BLOBMSG_TYPE_STRING, "macs", take);
}

// Days 0 to 7, 0 and 7 being Sunday.
int take_weekdays(Call &call, const blob_attr *weekdays, UrlFilterRecord &record)
{
    auto take = [&](const blob_attr *element, size_t position) {
        uint32_t day = element_number(element);
        CALL_LOG(call, "weekdays[%zu]:%d \n\n", position, day);
        if (day > 7) {
            fail(call, "auiWeekday[%zu]:%d", position, day);
            return -1;
        }
        record.weekdays |= weekday_bit(day);
        return 0;
    };
    return take_elements(call, weekdays, kMaxWeekdays, BLOBMSG_TYPE_INT32, "weekdays", take);
}

int parse_rule(Call &call, bool is_add, UrlFilterRecord &record)
{
    RuleArguments arguments(rule_policy, call.message);
    if (!arguments.require(call))
        return -1;
    CALL_LOG(call, "enable:%s / name:%s / mode:%d / timerange:%s \n\n", arguments.text(ENABLE), arguments.text(NAME),
             arguments.number(MODE), arguments.text(TIMERANGE));
    record.enable = wexond_str_to_code(kYesNo, arguments.text(ENABLE));
    record.mode = arguments.number(MODE);
    copy_text(record.name, arguments.text(NAME), kTextLimit);
    if (take_slots(call, arguments.array(URLS), record.urls, kTextLimit, "urls") ||
        take_macs(call, arguments.array(MACS), record) || take_weekdays(call, arguments.array(WEEKDAYS), record))
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
    reply_word("enable", kYesNo, record.enable);
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
    .add = {kAddUrlFilter, "ORVC_ADD_FILTERURL failed"},
    .remove = {kDeleteUrlFilter, "ORVC_DEL_FILTERURL failed"},
    .list = {kListUrlFilters, "failed to get filter url"},
    .set = {kSetUrlFilter, "ORVC_SET_FILTERURL failed"},
    .get = {kGetUrlFilter, "failed to get index filtr url"},
    .unknown_object = nullptr,
    .parse = parse_rule,
    .add_keys = add_keys,
};

// Deliberate: the static object offers the entry methods too; there they find no rule.
// clang-format off
const ubus_method methods[] = {
    UBUS_METHOD("add", SERVE_AS("wexond_filterurl_add", filter_add, kKind), rule_policy),
    UBUS_METHOD("delete", SERVE_AS("wexond_filterurl_delete", filter_delete, kKind), index_policy),
    UBUS_METHOD_NOARG("list", SERVE_AS("wexond_filterurl_list", filter_list<UrlFilterList>, kKind)),
    UBUS_METHOD("set", SERVE_AS("wexond_filterurl1_set", filter_entry_set, kKind), rule_policy),
    UBUS_METHOD_NOARG("get", SERVE_AS("wexond_filterurl1_get", filter_entry_get, kKind)),
};
// clang-format on

const ubus_method entry_methods[] = {
    UBUS_METHOD("set", SERVE_AS("wexond_filterurl1_set", filter_entry_set, kKind), rule_policy),
    UBUS_METHOD_NOARG("get", SERVE_AS("wexond_filterurl1_get", filter_entry_get, kKind)),
};

ubus_object_type type = bus_object_type("wexond.filter.url", methods);

} // namespace

ubus_object_type wexond_filterurl_entry_type = bus_object_type("wexond.filter.url.", entry_methods);

ubus_object wexond_filterurl_object = {
    .name = "wexond.filter.url",
    .type = &type,
    .methods = methods,
    .n_methods = ARRAY_SIZE(methods),
};
