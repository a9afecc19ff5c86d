// The debug log. A line is written to the console while the flag file exists; both are looked up anew for each line, so
// that the switch takes effect at the very next one and no descriptor is held. Log lines tell passwords, and the flag
// lies where everybody may make files: it counts only where root or the daemon's own user owns it. Nothing fails
// visibly and nothing waits: a console that cannot be opened drops the line, one that is full what does not fit.
#pragma once

bool log_is_enabled();

// Writes a line with the function's name and the line number before it. Called through the macros.
void log_line(const char *function, int line, const char *format, ...) __attribute__((format(printf, 3, 4)));

// A format and its arguments. Messages bring their own line ends. The arguments are not evaluated while the log is off.
#define WEXOND_LOG(...) WEXOND_LOG_AS(__func__, __VA_ARGS__)

// The same under another function's name: for code that several handlers share and whose lines carry the handler's
// name.
#define WEXOND_LOG_AS(function, ...)                                                                                   \
    do {                                                                                                               \
        if (log_is_enabled())                                                                                          \
            log_line(function, __LINE__, __VA_ARGS__);                                                                 \
    } while (0)
