#include "system/local_time.h"

#include <ctime>

// Compiled with times of 64 bits; the bus libraries' headers, whose structures hold times of the default width, must
// not be included here.

namespace
{

// Lists show many of them: a formatted print would take the greater part of their time.
char *put(char *text, int number, int digits, char after)
{
    for (int i = digits - 1; i >= 0; i--, number /= 10)
        text[i] = static_cast<char>('0' + number % 10);
    text[digits] = after;
    return text + digits + 1;
}

} // namespace

void write_local_time(char (&text)[20], uint32_t seconds)
{
    time_t moment = seconds;
    tm when{};
    localtime_r(&moment, &when);
    char *next = put(text, when.tm_year + 1900, 4, '-'); // 1969 to 2106
    next = put(next, when.tm_mon + 1, 2, '-');
    next = put(next, when.tm_mday, 2, ' ');
    next = put(next, when.tm_hour, 2, ':');
    next = put(next, when.tm_min, 2, ':');
    put(next, when.tm_sec, 2, '\0');
}
