#include "users.h"

#include <climits>
#include <cstdlib>
#include <unistd.h>

namespace
{

bool initialised = false;
avl_tree users;
unsigned limit = UINT_MAX;
unsigned connections = 0;

bool may_have_all(uid_t uid)
{
    return uid == 0 || uid == geteuid();
}

User *find_or_add(uid_t uid)
{
    if (!initialised)
        ids_init(users);
    initialised = true;
    if (Id *found = ids_find(users, uid))
        return container_of(found, User, id);
    auto *user = static_cast<User *>(calloc(1, sizeof(User)));
    if (user)
        ids_file(users, user->id, uid);
    return user;
}

void release_if_gone(User *user)
{
    if (user->connections == 0) {
        avl_delete(&users, &user->id.node);
        free(user);
    }
}

} // namespace

void users_limit(unsigned most)
{
    limit = most;
}

unsigned users_connections()
{
    return connections;
}

bool users_are_full()
{
    return connections >= limit;
}

User *user_connect(uid_t uid)
{
    User *user = find_or_add(uid);
    if (!user)
        return nullptr;
    if (!may_have_all(uid) && user->connections + 1 > limit - connections) {
        release_if_gone(user);
        return nullptr;
    }
    user->connections++;
    connections++;
    return user;
}

void user_disconnect(User *user)
{
    user->connections--;
    connections--;
    release_if_gone(user);
}
