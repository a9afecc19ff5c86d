#include "core/log.h"

#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/paths.h"

namespace
{

// As fopen with "w" opens it, but that a console which takes no more never stops the daemon and none becomes its
// controlling terminal.
FILE *open_console()
{
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    int fd = open(paths().console, kFlags, 0666);
    if (fd < 0)
        return nullptr;
    FILE *console = fdopen(fd, "w");
    if (!console)
        close(fd);
    return console;
}

} // namespace

// A link is its own owner's, whatever it leads to; one that leads nowhere does not exist.
bool log_is_enabled()
{
    const char *flag = paths().debug_flag;
    struct stat status;
    if (lstat(flag, &status) != 0 || (status.st_uid != 0 && status.st_uid != geteuid()))
        return false;
    return !S_ISLNK(status.st_mode) || access(flag, F_OK) == 0;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
void log_line(const char *function, int line, const char *format, ...)
{
    FILE *console = open_console();
    if (!console)
        return;
    // A terminal would be written line by line; whole messages keep those of two threads apart.
    char buffer[4096];
    setvbuf(console, buffer, _IOFBF, sizeof(buffer));
    fprintf(console, "[%s.%d]: ", function, line);
    va_list arguments;
    va_start(arguments, format);
    vfprintf(console, format, arguments);
    va_end(arguments);
    fclose(console);
}
