// Where the tests find the programs that they start.
#pragma once

#include <filesystem>
#include <string>

// One of this build, or whatever program has this name beside the test's own.
inline std::string built_program(const char *name)
{
    static const std::filesystem::path kFolder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    return kFolder / name;
}

// The broker and the bus tool: ours, or where the bus libraries are installed, those installed with them. Without
// json-c ours is no tool.
#ifdef INSTALLED_UBUSD
inline std::string bus_broker()
{
    return INSTALLED_UBUSD;
}

inline std::string bus_tool()
{
    return INSTALLED_UBUS;
}
#else
inline std::string bus_broker()
{
    return built_program("ubusd");
}

inline std::string bus_tool()
{
    return built_program("ubus");
}
#endif
