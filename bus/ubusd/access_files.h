// The files of the access lists.
#pragma once

#include "ubox.h"

inline constexpr unsigned kMostLists = 256;
inline constexpr size_t kLongestList = 65536; // bytes of a file

// Reads the files `*.json` of a folder in order of their names, at most kMostLists, and gives each JSON object to
// `take`, which frees the buffer and returns 0, or -1 to end it. What may not be trusted, is too long or no JSON object
// is passed over, with a line in the system log. How many files there are, good or bad, or -1 where that cannot be said
// now: descriptors or memory are out, or `take` says so.
int access_files_read(const char *folder, int (*take)(const char *path, blob_buf &list));
