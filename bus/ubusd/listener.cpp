#include "listener.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

struct stat own_file; // what listener_open() made

int fill_address(sockaddr_un &address, const char *path)
{
    address = {.sun_family = AF_UNIX};
    size_t length = strlen(path);
    if (length == 0 || length >= sizeof(address.sun_path)) {
        errno = length == 0 ? ENOENT : ENAMETOOLONG;
        return -1;
    }
    memcpy(address.sun_path, path, length + 1);
    return 0;
}

// Makes the folders of the path; those that are there already are left as they are. What fails otherwise shows when the
// socket is bound.
void make_folders(const sockaddr_un &address)
{
    char folder[sizeof(sockaddr_un::sun_path)];
    memcpy(folder, address.sun_path, sizeof(folder));
    umask(0022); // every user is to reach the socket
    for (char *slash = strchr(folder + 1, '/'); slash; slash = strchr(slash + 1, '/')) {
        *slash = '\0';
        mkdir(folder, 0755);
        *slash = '/';
    }
}

// Whether the path is a socket file that was left behind.
bool is_stale(const sockaddr_un &address)
{
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return false;
    struct stat file;
    bool stale = stat(address.sun_path, &file) == 0 && S_ISSOCK(file.st_mode) &&
                 connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 &&
                 errno == ECONNREFUSED;
    close(fd);
    return stale;
}

int bind_and_listen(int fd, const sockaddr_un &address)
{
    if (is_stale(address))
        unlink(address.sun_path);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0)
        return -1;
    if (chmod(address.sun_path, 0666) != 0 || stat(address.sun_path, &own_file) != 0 || listen(fd, SOMAXCONN) != 0) {
        unlink(address.sun_path);
        return -1;
    }
    return 0;
}

} // namespace

int listener_open(const char *path)
{
    sockaddr_un address;
    if (fill_address(address, path) != 0)
        return -1;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return -1;
    make_folders(address);
    if (bind_and_listen(fd, address) != 0) {
        int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

void listener_remove(const char *path)
{
    struct stat file;
    if (stat(path, &file) == 0 && file.st_dev == own_file.st_dev && file.st_ino == own_file.st_ino)
        unlink(path);
}
