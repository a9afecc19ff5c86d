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

/* The same, but null stays null. */
#ifndef container_of_safe
#define container_of_safe(ptr, type, member)                                                                           \
    ({                                                                                                                 \
        const __typeof__(((type *)NULL)->member) *container_of_safe_member = (ptr);                                    \
        container_of_safe_member ? container_of(container_of_safe_member, type, member) : NULL;                        \
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
    entry->prev->next = entry->next; /* NOLINT(clang-analyzer-unix.Malloc): what is freed has left its list */
    entry->next->prev = entry->prev;
    entry->next = entry->prev = NULL;
}

static inline void list_del_init(struct list_head *entry)
{
    list_del(entry);
    INIT_LIST_HEAD(entry);
}

static inline bool list_is_first(const struct list_head *entry, const struct list_head *head)
{
    return entry->prev == head;
}

static inline bool list_is_last(const struct list_head *entry, const struct list_head *head)
{
    return entry->next == head;
}

/* Out of the list it is in, and into this one. */
static inline void list_move(struct list_head *entry, struct list_head *head)
{
    list_del(entry);
    list_add(entry, head);
}

static inline void list_move_tail(struct list_head *entry, struct list_head *head)
{
    list_del(entry);
    list_add_tail(entry, head);
}

static inline void list_splice_between(const struct list_head *list, struct list_head *before, struct list_head *after)
{
    if (list_empty(list))
        return;
    list->next->prev = before;
    before->next = list->next;
    list->prev->next = after;
    after->prev = list->prev;
}

/* All entries of `list` behind or before `head`. The head of `list` is to be initialised before its next use; the two
 * _init do so. */
static inline void list_splice(const struct list_head *list, struct list_head *head)
{
    list_splice_between(list, head, head->next);
}

static inline void list_splice_tail(struct list_head *list, struct list_head *head)
{
    list_splice_between(list, head->prev, head);
}

static inline void list_splice_init(struct list_head *list, struct list_head *head)
{
    list_splice(list, head);
    INIT_LIST_HEAD(list);
}

static inline void list_splice_tail_init(struct list_head *list, struct list_head *head)
{
    list_splice_tail(list, head);
    INIT_LIST_HEAD(list);
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

#define list_next_entry(pos, member) list_entry((pos)->member.next, __typeof__(*(pos)), member)

#define list_for_each_entry_reverse(pos, head, member)                                                                 \
    for (pos = list_last_entry(head, __typeof__(*pos), member); &pos->member != (head);                                \
         pos = list_entry(pos->member.prev, __typeof__(*pos), member))
/* Behind `pos`, which is an entry. */
#define list_for_each_entry_continue(pos, head, member)                                                                \
    for (pos = list_next_entry(pos, member); &pos->member != (head); pos = list_next_entry(pos, member))

/* The links themselves. */
#define list_for_each(pos, head) for (pos = (head)->next; pos != (head); pos = pos->next)
#define list_for_each_safe(pos, next_pos, head)                                                                        \
    for (pos = (head)->next, next_pos = pos->next; pos != (head); pos = next_pos, next_pos = pos->next)
#define list_for_each_prev(pos, head) for (pos = (head)->prev; pos != (head); pos = pos->prev)
#define list_for_each_prev_safe(pos, prev_pos, head)                                                                   \
    for (pos = (head)->prev, prev_pos = pos->prev; pos != (head); pos = prev_pos, prev_pos = pos->prev)

#endif
