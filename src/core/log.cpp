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
int open_console()
{
    return open(paths().console, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
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

// One write keeps the lines of two threads apart; what is longer goes in pieces. No memory is asked for: a line on what
// failed for want of it is not lost.
// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
void log_line(const char *function, int line, const char *format, ...)
{
    int console = open_console();
    if (console < 0)
        return;
    char text[4096];
    auto start = static_cast<size_t>(snprintf(text, sizeof(text), "[%s.%d]: ", function, line));
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    size_t length = start + static_cast<size_t>(vsnprintf(text + start, sizeof(text) - start, format, arguments));
    if (length < sizeof(text)) {
        [[maybe_unused]] ssize_t written = write(console, text, length);
    } else {
        dprintf(console, "%.*s", static_cast<int>(start), text);
        vdprintf(console, format, again);
    }
    va_end(again);
    va_end(arguments);
    close(console);
}
