// The debug log. A line is written to the console while the flag file exists; both are opened anew for each line, so
// that the switch takes effect at the very next one and no descriptor is held. Nothing fails visibly: a console that
// cannot be opened drops the line.
#pragma once

bool wexond_log_enabled();

// One formatted print of one line. Called through the macros, which put the function name and line number first.
void wexond_log_line(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Messages bring their own line ends. The arguments are not evaluated while the log is off.
#define WEXOND_LOG(format, ...) WEXOND_LOG_AS(__func__, format __VA_OPT__(, ) __VA_ARGS__)

// The same under another function's name: for code that several handlers share and whose lines carry the handler's
// name.
#define WEXOND_LOG_AS(function, format, ...)                                                                           \
    do {                                                                                                               \
        if (wexond_log_enabled())                                                                                      \
            wexond_log_line("[%s.%d]: " format, function, __LINE__ __VA_OPT__(, ) __VA_ARGS__);                        \
    } while (0)
