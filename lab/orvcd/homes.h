// The homes that the service may start with.
#pragma once

#include <string>

#include "home.h"

// The home of a name (home, crowded, bare, mesh) or of a file. Throws std::runtime_error where there is none, or the
// file holds none; a lenient reading passes over values that no home has.
Json find_home(const std::string &name, bool lenient);

// Reads a home from a file, judges it and fills it up. What it has that no home has is reported on standard error.
// Throws std::runtime_error naming the file, and what is wrong with it.
Json read_home(const std::string &file, bool lenient);
Json parse_home(const std::string &text, const std::string &file, bool lenient);

// Says on standard output all that is wrong with a file; false where that is anything.
bool check_home_file(const std::string &file);
