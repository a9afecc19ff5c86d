// Where the tests find the programs that they start.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

// One of this build, or whatever program has this name beside the test's own.
inline std::string built_program(const char *name)
{
    static const std::filesystem::path kFolder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    return kFolder / name;
}

// The broker and the bus tool: ours, or where the bus libraries are installed, those installed with them. Without
// json-c ours is no tool.
#ifdef INSTALLED_UBUSD
inline std::vector<std::string> bus_broker(const std::string &socket)
{
    std::vector<std::string> command = {INSTALLED_UBUSD, "-s", socket};
    if (geteuid() != 0)
        command.push_back("--open"); // where it has that: any other broker lets only root do anything
    return command;
}

inline std::string bus_tool()
{
    return INSTALLED_UBUS;
}
#else
inline std::vector<std::string> bus_broker(const std::string &socket)
{
    return {built_program("ubusd"), "--open", "-s", socket}; // what the tests' user may do is not what they test
}

inline std::string bus_tool()
{
    return built_program("ubus");
}
#endif

// An error's text in the C library of the programs, which scripts/foreign.sh may have exchanged.
inline std::string error_text(int error)
{
    static const std::map<int, std::string> kMusl = {{EMFILE, "No file descriptors available"},
                                                     {ENOTSOCK, "Not a socket"}};
    return getenv("WEXOND_TESTS_MUSL") ? kMusl.at(error) : strerror(error);
}
