/* Intrusive, circular, doubly linked list. An entry holds a `struct list_head`; the list's head is one more of them. */
#ifndef LIBUBOX_LIST_H
#define LIBUBOX_LIST_H

#include <stdbool.h>
#include <stddef.h>

/* The record of the given type whose `member` is at `ptr`; refuses to compile where the two types differ. */
#ifndef container_of
#define container_of(ptr, type, member)                                                                                \
    ({                                                                                                                 \
        const __typeof__(((type *)NULL)->member) *container_of_member = (ptr);                                         \
        (type *)((char *)container_of_member - offsetof(type, member));                                                \
    })
#endif

struct list_head {
    struct list_head *next;
    struct list_head *prev;
};

/* <sys/queue.h> has a macro of this name. */
#undef LIST_HEAD
#define LIST_HEAD_INIT(name)                                                                                           \
    {                                                                                                                  \
        &(name), &(name)                                                                                               \
    }
#define LIST_HEAD(name) struct list_head name = LIST_HEAD_INIT(name)

static inline void INIT_LIST_HEAD(struct list_head *list)
{
    list->next = list->prev = list;
}

static inline bool list_empty(const struct list_head *head)
{
    return head->next == head;
}

static inline void list_insert_between(struct list_head *entry, struct list_head *before, struct list_head *after)
{
    entry->prev = before;
    entry->next = after;
    before->next = entry;
    after->prev = entry;
}

/* Behind `head`: at the front of the list, or right after another entry. */
static inline void list_add(struct list_head *entry, struct list_head *head)
{
    list_insert_between(entry, head, head->next);
}

/* Before `head`: at the end of the list, or right before another entry. */
static inline void list_add_tail(struct list_head *entry, struct list_head *head)
{
    list_insert_between(entry, head->prev, head);
}

/* The entry's own links become null; list_del_init makes an empty list of it. */
static inline void list_del(struct list_head *entry)
{
    entry->prev->next = entry->next;
    entry->next->prev = entry->prev;
    entry->next = entry->prev = NULL;
}

static inline void list_del_init(struct list_head *entry)
{
    list_del(entry);
    INIT_LIST_HEAD(entry);
}

#define list_entry(ptr, type, member) container_of(ptr, type, member)
#define list_first_entry(head, type, member) list_entry((head)->next, type, member)
#define list_last_entry(head, type, member) list_entry((head)->prev, type, member)

#define list_for_each_entry(pos, head, member)                                                                         \
    for (pos = list_first_entry(head, __typeof__(*pos), member); &pos->member != (head);                               \
         pos = list_entry(pos->member.next, __typeof__(*pos), member))

/* As above; `next` keeps the place, so `pos` may be taken out (and only `pos`). */
#define list_for_each_entry_safe(pos, next_pos, head, member)                                                          \
    for (pos = list_first_entry(head, __typeof__(*pos), member),                                                       \
        next_pos = list_entry(pos->member.next, __typeof__(*pos), member);                                             \
         &pos->member != (head);                                                                                       \
         pos = next_pos, next_pos = list_entry(next_pos->member.next, __typeof__(*next_pos), member))

#endif
