#include "ids.h"

#include <fcntl.h>
#include <iterator>
#include <ubusmsg.h>
#include <unistd.h>

namespace
{

// Not getrandom(): early in a router's start it would wait for entropy, and the whole system for the bus. The
// descriptor is kept, because descriptors may have run out when the next id is wanted.
int random_source = -1;

uint32_t pool[64]; // numbers read and not given out yet, so that one read serves many ids
size_t pooled = 0;

int compare_ids(const void *left, const void *right, void *)
{
    uint32_t a = *static_cast<const uint32_t *>(left);
    uint32_t b = *static_cast<const uint32_t *>(right);
    return (a > b) - (a < b);
}

int random_number(uint32_t &number)
{
    if (pooled == 0) {
        if (read(random_source, pool, sizeof(pool)) != sizeof(pool))
            return -1;
        pooled = std::size(pool);
    }
    number = pool[--pooled];
    return 0;
}

} // namespace

int ids_open()
{
    random_source = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    return random_source < 0 ? -1 : 0;
}

void ids_init(avl_tree &tree, bool allows_equal)
{
    avl_init(&tree, compare_ids, allows_equal, nullptr);
}

int ids_add(avl_tree &tree, Id &id)
{
    uint32_t value;
    do {
        if (random_number(value) != 0)
            return -1;
    } while (value < UBUS_SYSTEM_OBJECT_MAX || ids_find(tree, value));
    ids_file(tree, id, value);
    return 0;
}

void ids_file(avl_tree &tree, Id &id, uint32_t value)
{
    id.value = value;
    id.node.key = &id.value;
    avl_insert(&tree, &id.node);
}

Id *ids_find(const avl_tree &tree, uint32_t value)
{
    avl_node *node = avl_find(&tree, &value);
    return !node ? nullptr : container_of(node, Id, node);
}
