#include "core/entry.h"

#include <cstdio>
#include <cstdlib>
#include <span>

#include "core/catalogue.h"
#include "core/log.h"

EntryLists entry_lists;

namespace
{

// What a list's update callback needs of its family.
struct Kind {
    const char *word;         // in log lines
    const char *registration; // the name under which a failed registration is logged
    const char *name_format;  // takes the index; where there is a type per band, the band number before it
    std::span<ubus_object_type *const> types;
};

constexpr Kind kUrlFilter = {
    "filterurl", "filterurl_register_ubus", "wexond.filter.url.%d", {&catalogue_entry_types.filterurl, 1}};
constexpr Kind kDnsFilter = {
    "filterdns", "filterdns_register_ubus", "wexond.filter.dns.%d", {&catalogue_entry_types.filterdns, 1}};
constexpr Kind kLanHost = {
    "laninfo", "laninfo_register_ubus", "wexond.laninfo.%d", {&catalogue_entry_types.laninfo, 1}};
constexpr Kind kWifiTimer = {
    "wifitimer", "wifitimer_register_ubus", "wexond.wifi.timer.%d", {&catalogue_entry_types.wifitimer, 1}};
constexpr Kind kWifiAp = {
    "wifiap", "wifiap_register_ubus", "wexond.wifi.%d.ap.%d", {&catalogue_entry_types.wifi_aps[0], 2}};

// Entries that are in no list any more while their objects are still on the bus: put out by a second add of their key.
Entry *displaced_entries;

Entry *entry_of(vlist_node *node)
{
    return node ? container_of(node, Entry, node) : nullptr;
}

ubus_object_type *type_of(const Kind &kind, const Entry &entry)
{
    if (kind.types.size() == 1)
        return kind.types[0];
    bool known = entry.band_number >= 1 && entry.band_number <= kind.types.size();
    return known ? kind.types[entry.band_number - 1] : nullptr;
}

char *make_name(const Kind &kind, const Entry &entry)
{
    int index = static_cast<int>(entry.index);
    int band = static_cast<int>(entry.band_number);
    char *name;
    int length = kind.types.size() == 1 ? asprintf(&name, kind.name_format, index)
                                        : asprintf(&name, kind.name_format, band, index);
    if (length >= 0)
        return name;
    WEXOND_LOG_AS(kind.registration, "%s oom\n\n", kind.registration);
    return nullptr;
}

void register_object(const Kind &kind, Entry &entry)
{
    ubus_object_type *type = type_of(kind, entry);
    char *name = type ? make_name(kind, entry) : nullptr;
    if (!name)
        return;
    entry.object.name = name;
    entry.object.type = type;
    entry.object.methods = type->methods;
    entry.object.n_methods = type->n_methods;
    ubus_add_object(wexond_context, &entry.object);
}

void release(Entry *entry)
{
    free(const_cast<char *>(entry->object.name));
    free(entry);
}

// Frees an entry that is in no list any more, unless the bus still knows its object: then its calls go on being
// answered.
void release_unless_known(Entry *entry)
{
    if (entry->object.id == 0) {
        release(entry);
        return;
    }
    entry->displaced = displaced_entries;
    displaced_entries = entry;
}

// What the five lists with objects do when a node was added, removed, or (with both given) added a second time. The log
// prints the index unsigned while names print it signed.
void update(const Kind &kind, const char *function, vlist_node *added, vlist_node *removed)
{
    Entry *entry = entry_of(removed ? removed : added);
    uint32_t index = entry->index;
    if (added && removed) {
        // Deliberate: the new entry gets no object of its own.
        WEXOND_LOG_AS(function, "Update %s '%u'\n\n", kind.word, index);
        release_unless_known(entry);
    } else if (removed) {
        WEXOND_LOG_AS(function, "Remove %s '%u'\n\n", kind.word, index);
        if (entry->object.id != 0)
            ubus_remove_object(wexond_context, &entry->object);
    } else {
        WEXOND_LOG_AS(function, "Create %s '%u'\n\n", kind.word, index);
        register_object(kind, *entry);
    }
}

void filterurl_update(vlist_tree *, vlist_node *added, vlist_node *removed)
{
    update(kUrlFilter, __func__, added, removed);
}

void filterdns_update(vlist_tree *, vlist_node *added, vlist_node *removed)
{
    update(kDnsFilter, __func__, added, removed);
}

void laninfo_update(vlist_tree *, vlist_node *added, vlist_node *removed)
{
    update(kLanHost, __func__, added, removed);
}

void wifitimer_update(vlist_tree *, vlist_node *added, vlist_node *removed)
{
    update(kWifiTimer, __func__, added, removed);
}

void wifiap_update(vlist_tree *, vlist_node *added, vlist_node *removed)
{
    update(kWifiAp, __func__, added, removed);
}

// Classification rules have no objects. A rule put out of the list by a second add of its key is gone.
void classification_update(vlist_tree *, vlist_node *added, vlist_node *removed)
{
    if (added && removed)
        release(entry_of(removed));
}

uint32_t index_at(const void *records, size_t stride, size_t position)
{
    return *reinterpret_cast<const le32 *>(static_cast<const uint8_t *>(records) + stride * position);
}

bool is_listed(uint32_t index, const void *records, size_t stride, size_t count)
{
    for (size_t i = 0; i < count; i++)
        if (index_at(records, stride, i) == index)
            return true;
    return false;
}

} // namespace

void entry_lists_init()
{
    vlist_init(&entry_lists.wifi_aps[0], avl_strcmp, wifiap_update);
    vlist_init(&entry_lists.wifi_aps[1], avl_strcmp, wifiap_update);
    vlist_init(&entry_lists.wifi_timers, avl_strcmp, wifitimer_update);
    vlist_init(&entry_lists.classifications, avl_strcmp, classification_update);
    vlist_init(&entry_lists.lan_hosts, avl_strcmp, laninfo_update);
    vlist_init(&entry_lists.url_filters, avl_strcmp, filterurl_update);
    vlist_init(&entry_lists.dns_filters, avl_strcmp, filterdns_update);
}

Entry *entry_add(vlist_tree *list, uint32_t index, uint32_t band_number)
{
    auto *entry = static_cast<Entry *>(calloc(1, sizeof(Entry)));
    if (!entry)
        return nullptr;
    entry->index = index;
    entry->band_number = band_number;
    vlist_add(list, &entry->node, &entry->index);
    return entry;
}

void entry_remove(vlist_tree *list, Entry *entry)
{
    vlist_delete(list, &entry->node);
    release_unless_known(entry);
}

Entry *entry_find(vlist_tree *list, uint32_t index)
{
    Entry *entry;
    vlist_for_each_element (list, entry, node)
        if (entry->index == index)
            return entry;
    return nullptr;
}

Entry *entry_find_named(vlist_tree *list, const char *object_name)
{
    Entry *entry;
    vlist_for_each_element (list, entry, node)
        if (entry->object.name && strcmp(entry->object.name, object_name) == 0)
            return entry;
    return nullptr;
}

void entry_reconcile(vlist_tree *list, const void *records, size_t stride, size_t count)
{
    Entry *entry, *next;
    vlist_for_each_element_safe (list, entry, node, next)
        if (!is_listed(entry->index, records, stride, count))
            entry_remove(list, entry);
    for (size_t i = 0; i < count; i++) {
        uint32_t index = index_at(records, stride, i);
        if (!entry_find(list, index))
            entry_add(list, index);
    }
}
