/* The headers are C: this file includes each of them twice and uses what is a macro or an inline function. */
#include <libubox/avl-cmp.h>
#include <libubox/avl.h>
#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <libubox/blobmsg_json.h>
#include <libubox/list.h>
#include <libubox/uloop.h>
#include <libubox/utils.h>
#include <libubox/vlist.h>

#include <libubox/avl-cmp.h>
#include <libubox/avl.h>
#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <libubox/blobmsg_json.h>
#include <libubox/list.h>
#include <libubox/uloop.h>
#include <libubox/utils.h>
#include <libubox/vlist.h>

struct rule {
    const char *name;
    struct vlist_node node;
};

static int updates;

static void count_update(struct vlist_tree *tree, struct vlist_node *node_new, struct vlist_node *node_old)
{
    (void)tree;
    updates += (node_new ? 1 : 0) + (node_old ? 10 : 0);
}

/* 12: two added, one taken out and found no more. */
int vlist_from_c(void)
{
    struct vlist_tree tree = {.keep_old = false};
    struct rule rules[2] = {{.name = "a"}, {.name = "b"}};
    struct rule *rule, *next, *last;
    int sum = 0;

    updates = 0;
    vlist_init(&tree, avl_strcmp, count_update);
    vlist_add(&tree, &rules[0].node, rules[0].name);
    vlist_add(&tree, &rules[1].node, rules[1].name);
    last = avl_last_element(&tree.avl, last, node.avl);
    avl_for_element_range (&rules[0], last, rule, node.avl)
        sum++;
    vlist_for_each_element (&tree, rule, node)
        sum++;
    vlist_for_each_element_safe (&tree, rule, node, next)
        if (rule == &rules[0])
            vlist_delete(&tree, &rule->node);
    if (vlist_find(&tree, "a", rule, node) || avl_find_ge_element(&tree.avl, "a", rule, node.avl) != &rules[1])
        return -1;
    return sum == 4 ? updates : -1;
}

static const struct blobmsg_policy policy[] = {
    {.name = "count", .type = BLOBMSG_TYPE_INT32},
};

/* 42: the count it added, read back, and how many values there were. */
int message_from_c(void)
{
    static struct blob_buf buf;
    struct blob_attr *tb[ARRAY_SIZE(policy)], *pos;
    size_t rem;
    int count = 0;
    void *cookie;

    blob_buf_init(&buf, 0);
    blobmsg_add_u32(&buf, "count", 40);
    cookie = blobmsg_open_array(&buf, "list");
    blobmsg_add_string(&buf, NULL, "one");
    blobmsg_add_string(&buf, NULL, "two");
    blobmsg_close_array(&buf, cookie);
    blobmsg_parse(policy, ARRAY_SIZE(policy), tb, blob_data(buf.head), blob_len(buf.head));
    if (tb[0])
        count = (int)blobmsg_get_u32(tb[0]);
    blob_for_each_attr (pos, buf.head, rem)
        count++;
    blob_buf_free(&buf);
    return count;
}

static LIST_HEAD(timers);

/* 0: a timer and a descriptor that are in no loop. */
int loop_from_c(void)
{
    struct uloop_timeout timer = {.cb = NULL}, *pos;
    struct uloop_fd fd = {.fd = -1};
    int count = 0;

    list_add(&timer.list, &timers);
    list_for_each_entry (pos, &timers, list)
        count++;
    list_del_init(&timer.list);
    return count - 1 + uloop_fd_delete(&fd) + uloop_timeout_cancel(&timer) + 1 + (uloop_cancelling() ? 1 : 0);
}
