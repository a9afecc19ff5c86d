#include "access_files.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#ifdef WITH_JSON
extern "C" {
#include <libubox/blobmsg_json.h>
}
#endif

namespace
{

using Taker = int (*)(const char *path, blob_buf &list);

char text[kLongestList + 1];

#ifdef WITH_JSON
constexpr const char *kNoList = "is no JSON object";

bool parse_text(blob_buf &list)
{
    return blobmsg_add_json_from_string(&list, text);
}
#else
constexpr const char *kNoList = "is JSON, which this broker is built without";

bool parse_text(blob_buf &)
{
    return false;
}
#endif

bool is_out_of_resources()
{
    return errno == EMFILE || errno == ENFILE || errno == ENOMEM;
}

int is_list(const dirent *entry)
{
    constexpr char kEnding[] = ".json";
    constexpr size_t kEndingLength = sizeof(kEnding) - 1;
    size_t length = strlen(entry->d_name);
    return entry->d_name[0] != '.' && length >= kEndingLength &&
           strcmp(entry->d_name + length - kEndingLength, kEnding) == 0;
}

int compare_names(const dirent **left, const dirent **right)
{
    return strcmp((*left)->d_name, (*right)->d_name);
}

// Why a file is not read, or null. Where the broker is not root's, what is its own user's is as good.
const char *objection(const struct stat &file)
{
    if ((file.st_uid != 0 && file.st_uid != geteuid()) || (file.st_gid != 0 && file.st_gid != getegid()))
        return "is not owned by root and its group";
    if ((file.st_mode & 0023) != 0)
        return "may be written by its group or others, or executed by others";
    return nullptr;
}

// Into `text`. Null, or why not.
const char *read_text(int fd)
{
    size_t length = 0;
    ssize_t count;
    while ((count = read(fd, text + length, sizeof(text) - length)) > 0)
        length += static_cast<size_t>(count);
    if (count < 0)
        return "cannot be read";
    if (length > kLongestList)
        return "is too long";
    text[length] = '\0';
    return nullptr;
}

void skip(const char *path, const char *reason)
{
    syslog(LOG_WARNING, "%s is skipped: it %s", path, reason);
}

// Takes the rules in the text of one file.
int take_text(const char *path, Taker take)
{
    blob_buf list = {};
    if (blob_buf_init(&list, 0) != 0)
        return -1;
    if (parse_text(list))
        return take(path, list);
    skip(path, kNoList);
    blob_buf_free(&list);
    return 0;
}

// 0, or -1 where it cannot be read now.
int take_file(const char *path, Taker take)
{
    int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0 && is_out_of_resources())
        return -1;
    struct stat file;
    bool is_file = fd >= 0 && fstat(fd, &file) == 0 && S_ISREG(file.st_mode);
    const char *reason = !is_file ? nullptr : objection(file);
    if (is_file && !reason)
        reason = read_text(fd);
    if (fd >= 0)
        close(fd);
    if (reason)
        skip(path, reason);
    return is_file && !reason ? take_text(path, take) : 0;
}

int take_name(const char *folder, const char *name, Taker take)
{
    char path[PATH_MAX];
    int length = snprintf(path, sizeof(path), "%s/%s", folder, name);
    return length < static_cast<int>(sizeof(path)) ? take_file(path, take) : 0;
}

} // namespace

int access_files_read(const char *folder, Taker take)
{
    dirent **names;
    int count = scandir(folder, &names, is_list, compare_names);
    if (count < 0)
        return is_out_of_resources() ? -1 : 0;
    if (count > static_cast<int>(kMostLists))
        syslog(LOG_WARNING, "%s: only the first %u of %d lists are read", folder, kMostLists, count);
    int result = count;
    for (int i = 0; i < count; i++) {
        if (i < static_cast<int>(kMostLists) && result >= 0 && take_name(folder, names[i]->d_name, take) != 0)
            result = -1;
        free(names[i]);
    }
    free(names);
    return result;
}
