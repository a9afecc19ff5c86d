#include "access_lists.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <syslog.h>

#include "names.h"

namespace
{

struct Lists {
    AccessList items[kMostLists];
    unsigned count;
    unsigned rules;
};

Lists current, loading;
uint32_t sequence = 0;

enum { LIST_USER, LIST_GROUP, LIST_RIGHTS, LIST_COUNT = LIST_RIGHTS + RIGHT_COUNT };
constexpr blobmsg_policy kListPolicy[] = {
    {.name = "user", .type = BLOBMSG_TYPE_STRING},     {.name = "group", .type = BLOBMSG_TYPE_STRING},
    {.name = "access", .type = BLOBMSG_TYPE_TABLE},    {.name = "publish", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "subscribe", .type = BLOBMSG_TYPE_ARRAY}, {.name = "listen", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "send", .type = BLOBMSG_TYPE_ARRAY},
};
static_assert(std::size(kListPolicy) == LIST_COUNT);

// `tags` makes a rule count and says nothing.
enum { RULE_METHODS, RULE_TAGS, RULE_ACL, RULE_COUNT };
constexpr blobmsg_policy kRulePolicy[] = {
    {.name = "methods", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "tags", .type = BLOBMSG_TYPE_ARRAY},
    {.name = "acl", .type = BLOBMSG_TYPE_TABLE},
};

void forget(Lists &lists)
{
    for (AccessList &list : std::span(lists.items, lists.count)) {
        blob_buf_free(&list.content);
        free(list.rules);
    }
    lists = {};
}

const char *text_of(blob_attr *field)
{
    return !field ? nullptr : blobmsg_get_string(field);
}

// For whom the list is; without a name for nobody.
void read_holder(AccessList &list, blob_attr *const *fields)
{
    list.is_group = !fields[LIST_USER];
    list.name = text_of(list.is_group ? fields[LIST_GROUP] : fields[LIST_USER]);
}

// A name that the system does not know stands for id 0, on purpose: a user's gives nothing that the superuser has not,
// a group's holds for the superuser's group. 0, or -1 where it cannot be found out now.
int find_holder(AccessList &list)
{
    return list.is_group ? id_of_group(list.name, list.id) : id_of_user(list.name, list.id);
}

// False where the text says nothing.
bool set_pattern(Rule &rule, const char *text)
{
    rule.text = text;
    rule.is_prefix = rule.text.ends_with('*');
    if (rule.is_prefix)
        rule.text.remove_suffix(1);
    return text[0] != '\0';
}

bool names_all(const blob_attr *methods)
{
    size_t rem;
    blob_attr *method;
    blobmsg_for_each_attr (method, methods, rem)
        if (blobmsg_type(method) == BLOBMSG_TYPE_STRING && strcmp(blobmsg_get_string(method), "*") == 0)
            return true;
    return false;
}

// An entry of `access`, or of one of the arrays. False where it is no rule.
bool read_rule(Rule &rule, Right right, blob_attr *entry)
{
    if (right != MAY_CALL)
        return blobmsg_type(entry) == BLOBMSG_TYPE_STRING && set_pattern(rule, blobmsg_get_string(entry));
    if (blobmsg_type(entry) != BLOBMSG_TYPE_TABLE || !set_pattern(rule, blobmsg_name(entry)))
        return false;
    blob_attr *fields[RULE_COUNT];
    blobmsg_parse(kRulePolicy, RULE_COUNT, fields, blobmsg_data(entry), static_cast<unsigned>(blobmsg_len(entry)));
    rule.methods = fields[RULE_METHODS];
    rule.has_all_methods = rule.methods && names_all(rule.methods);
    rule.acl = fields[RULE_ACL];
    return rule.methods || fields[RULE_TAGS] || rule.acl;
}

unsigned count_entries(blob_attr *const *fields)
{
    unsigned count = 0;
    for (int right = 0; right < RIGHT_COUNT; right++) {
        size_t rem;
        const blob_attr *entry;
        blobmsg_for_each_attr (entry, fields[LIST_RIGHTS + right], rem)
            count++;
    }
    return count;
}

void read_rules(AccessList &list, blob_attr *const *fields)
{
    unsigned count = 0;
    for (int right = 0; right < RIGHT_COUNT; right++) {
        list.begin[right] = count;
        size_t rem;
        blob_attr *entry;
        blobmsg_for_each_attr (entry, fields[LIST_RIGHTS + right], rem)
            if (read_rule(list.rules[count], static_cast<Right>(right), entry))
                count++;
    }
    list.begin[RIGHT_COUNT] = count;
}

// Adds the list to those that are being loaded; frees it where it says nothing. 0, or -1 out of memory.
int take_list(const char *path, blob_buf &content)
{
    AccessList list = {.content = content};
    blob_attr *fields[LIST_COUNT];
    blobmsg_parse(kListPolicy, LIST_COUNT, fields, blob_data(content.head),
                  static_cast<unsigned>(blob_len(content.head)));
    unsigned count = count_entries(fields);
    bool fits = loading.rules + count <= kMostRules;
    if (!fits)
        syslog(LOG_WARNING, "%s is skipped: all lists together have more than %u rules", path, kMostRules);
    read_holder(list, fields);
    bool is_wanted = fits && count != 0 && list.name;
    if (is_wanted && find_holder(list) == 0)
        list.rules = static_cast<Rule *>(calloc(count, sizeof(Rule)));
    if (!list.rules) {
        blob_buf_free(&content);
        return is_wanted ? -1 : 0;
    }
    read_rules(list, fields);
    loading.rules += count;
    loading.items[loading.count++] = list;
    return 0;
}

} // namespace

bool access_lists_load(const char *folder)
{
    int files = access_files_read(folder, take_list);
    if (files < 0)
        syslog(LOG_ERR, "%s cannot be read now: the lists stay what they were", folder);
    if (files == 0 && sequence == 0)
        syslog(LOG_NOTICE, "%s holds no lists: only the superuser may do anything", folder);
    if (files <= 0) {
        forget(loading);
        return false;
    }
    std::swap(current, loading);
    forget(loading);
    sequence++;
    return true;
}

uint32_t access_lists_sequence()
{
    return sequence;
}

std::span<const AccessList> access_lists()
{
    return {current.items, current.count};
}

ListSet access_lists_of(uid_t user, gid_t group, std::span<const gid_t> groups)
{
    ListSet set = {.sequence = sequence};
    for (size_t i = 0; i < current.count; i++) {
        const AccessList &list = current.items[i];
        bool holds = !list.is_group
                         ? list.id == user
                         : list.id == group || std::find(groups.begin(), groups.end(), list.id) != groups.end();
        if (holds)
            set.bits[i / 64] |= uint64_t{1} << i % 64;
    }
    return set;
}

bool rule_matches(const Rule &rule, std::string_view name)
{
    return rule.is_prefix ? name.starts_with(rule.text) : name == rule.text;
}

bool rule_allows_method(const Rule &rule, const char *method)
{
    if (rule.has_all_methods || !rule.methods)
        return rule.has_all_methods;
    size_t rem;
    blob_attr *allowed;
    blobmsg_for_each_attr (allowed, rule.methods, rem)
        if (blobmsg_type(allowed) == BLOBMSG_TYPE_STRING && strcmp(blobmsg_get_string(allowed), method) == 0)
            return true;
    return false;
}
