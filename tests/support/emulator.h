// Tests built for another processor than the machine's run under an emulator, and so must the programs that they start.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/programs.h"

#ifdef EMULATOR
inline const std::vector<std::string> kEmulator = {EMULATOR};
constexpr int kSlowness = 10; // by how much a test is more patient
#else
inline const std::vector<std::string> kEmulator;
constexpr int kSlowness = 1;
#endif

// A command line, in which the emulator goes before the first word that is a program of the build. A shell in front of
// it has to go on with `exec "$0" "$@"`.
inline std::vector<std::string> emulated(std::vector<std::string> command)
{
    const std::string folder = built_program("");
    auto program = std::ranges::find_if(command, [&](std::string_view word) { return word.starts_with(folder); });
    if (program != command.end())
        command.insert(program, kEmulator.begin(), kEmulator.end());
    return command;
}
