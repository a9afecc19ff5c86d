#include "bench/soak_holdings.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace
{

namespace fs = std::filesystem;

long entries_of(const fs::path &folder)
{
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

// The number behind `key`.
long number_in(const fs::path &file, const std::string &key)
{
    std::ifstream stream(file);
    std::string word;
    long number;
    while (stream >> word)
        if (word == key && stream >> number)
            return number;
    return 0;
}

} // namespace

Holdings holdings_of(pid_t process)
{
    fs::path folder = "/proc/" + std::to_string(process);
    return {0, 0, number_in(folder / "smaps_rollup", "Anonymous:"), entries_of(folder / "fd"),
            entries_of(folder / "task")};
}
