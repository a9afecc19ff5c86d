// Files that are served, and those that are read at the start.
#pragma once

#include <optional>
#include <string>

// The file of that name below the folder: a plain one, with no symbolic link on the way, and of 16 MiB at most.
std::optional<std::string> read_file_below(const std::string &folder, const std::string &name);

// Throws where it cannot be read.
std::string read_whole_file(const std::string &path);

// The folder of this program, and where it is installed that of what belongs to it; or the source folder.
std::string program_folder();
std::string data_folder();
