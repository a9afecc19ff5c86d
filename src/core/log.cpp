#include "core/log.h"

#include <cstdarg>
#include <cstdio>
#include <unistd.h>

#include "core/paths.h"

bool wexond_log_enabled()
{
    return access(wexond_paths().debug_flag, F_OK) == 0;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
void wexond_log_line(const char *function, int line, const char *format, ...)
{
    FILE *console = fopen(wexond_paths().console, "we");
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
