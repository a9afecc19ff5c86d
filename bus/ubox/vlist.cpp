extern "C" {
#include <libubox/vlist.h>
}

void vlist_init(vlist_tree *tree, avl_tree_comp cmp, vlist_update_cb update)
{
    avl_init(&tree->avl, cmp, false, nullptr);
    tree->update = update;
    tree->version = 1;
}

void vlist_add(vlist_tree *tree, vlist_node *node, const void *key)
{
    vlist_node *old = nullptr;

    node->avl.key = key;
    node->version = tree->version;
    avl_find_element(&tree->avl, key, old, avl);
    if (old && (tree->keep_old || tree->no_delete)) {
        old->version = tree->version;
    } else {
        if (old)
            avl_delete(&tree->avl, &old->avl);
        avl_insert(&tree->avl, &node->avl);
    }
    tree->update(tree, node, old);
}

void vlist_delete(vlist_tree *tree, vlist_node *node)
{
    if (!tree->no_delete)
        avl_delete(&tree->avl, &node->avl);
    tree->update(tree, nullptr, node);
}

void vlist_flush(vlist_tree *tree)
{
    vlist_node *node, *next;

    avl_for_each_element_safe (&tree->avl, node, avl, next)
        if (node->version != tree->version && node->version != -1)
            vlist_delete(tree, node);
}

void vlist_flush_all(vlist_tree *tree)
{
    vlist_node *node, *next;

    tree->version = -1;
    avl_for_each_element_safe (&tree->avl, node, avl, next)
        vlist_delete(tree, node);
}
