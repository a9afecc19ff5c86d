#include "core/entry.h"

#include <cstdio>
#include <cstdlib>
#include <span>

#include "core/families.h"
#include "core/log.h"

EntryLists entry_lists;

namespace
{

// A family as a list's update callback needs it.
struct Kind {
    const char *word;         // in log lines
    const char *registration; // the name under which a failed registration is logged
    const char *name_format;  // takes the index; where there is a type per band, the band number before it
    std::span<ubus_object_type *const> types;
};

constexpr Kind kUrlFilter = {
    "filterurl", "filterurl_register_ubus", "wexond.filter.url.%d", {&families.entry_types.filterurl, 1}};
constexpr Kind kDnsFilter = {
    "filterdns", "filterdns_register_ubus", "wexond.filter.dns.%d", {&families.entry_types.filterdns, 1}};
constexpr Kind kLanHost = {"laninfo", "laninfo_register_ubus", "wexond.laninfo.%d", {&families.entry_types.laninfo, 1}};
constexpr Kind kWifiTimer = {
    "wifitimer", "wifitimer_register_ubus", "wexond.wifi.timer.%d", {&families.entry_types.wifitimer, 1}};
constexpr Kind kWifiAp = {
    "wifiap", "wifiap_register_ubus", "wexond.wifi.%d.ap.%d", {&families.entry_types.wifi_aps[0], 2}};

// Entries that are in no list any more and whose objects the bus did not let go: calls may still come for them.
Entry *stranded_entries;

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

void release_or_strand(Entry *entry)
{
    if (entry->object.id == 0) {
        release(entry);
        return;
    }
    entry->next_stranded = stranded_entries;
    stranded_entries = entry;
}

// Frees an entry that is in no list any more, with its predecessor, unless the bus still knows the object.
void release_unless_known(Entry *entry)
{
    if (entry->predecessor)
        release_or_strand(entry->predecessor);
    entry->predecessor = nullptr;
    release_or_strand(entry);
}

// The one object of an entry that the bus knows, its own or the one that it took over; null where there is none.
ubus_object *known_object(Entry *entry)
{
    if (entry->predecessor)
        entry = entry->predecessor;
    return entry->object.id == 0 ? nullptr : &entry->object;
}

// The new entry takes over the object that stands for the old one; an old one without an object of its own is freed.
void take_over(Entry *entry, Entry *old)
{
    if (!old->predecessor) {
        entry->predecessor = old;
    } else {
        entry->predecessor = old->predecessor;
        release(old);
    }
}

// The five lists with objects, when a node was added, removed, or (with both given) added a second time. The log
// prints the index unsigned while names print it signed.
void update(const Kind &kind, const char *function, vlist_node *added, vlist_node *removed)
{
    Entry *entry = entry_of(removed ? removed : added);
    uint32_t index = entry->index;
    if (added && removed) {
        // Deliberate: the new entry gets no object of its own, also where the old one has none.
        WEXOND_LOG_AS(function, "Update %s '%u'\n\n", kind.word, index);
        take_over(entry_of(added), entry);
    } else if (removed) {
        WEXOND_LOG_AS(function, "Remove %s '%u'\n\n", kind.word, index);
        if (ubus_object *object = known_object(entry))
            ubus_remove_object(wexond_context, object);
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

// The entry whose key is that of an index, which may be another's: no two entries of a list have equal keys.
Entry *find_by_key(vlist_tree *list, uint32_t index)
{
    const le32 key[] = {index, 0};
    avl_node *found = avl_find(&list->avl, key);
    return found ? container_of(found, Entry, node.avl) : nullptr;
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
    Entry *entry = find_by_key(list, index);
    return entry && entry->index == index ? entry : nullptr;
}

const Entry *entry_find_named(vlist_tree *list, const char *object_name)
{
    Entry *entry;
    vlist_for_each_element (list, entry, node) {
        const Entry *named = entry->predecessor ? entry->predecessor : entry;
        if (named->object.name && strcmp(named->object.name, object_name) == 0)
            return named;
    }
    return nullptr;
}

Entry *entry_owning(vlist_tree *list, const ubus_object *object)
{
    Entry *entry;
    vlist_for_each_element (list, entry, node)
        if (&entry->object == object || (entry->predecessor && &entry->predecessor->object == object))
            return entry;
    return nullptr;
}

bool entry_key_is_taken(vlist_tree *list, uint32_t index)
{
    return find_by_key(list, index);
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
