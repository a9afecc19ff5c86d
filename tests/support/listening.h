// Whether somebody takes connections at a UNIX socket, found out without connecting.
#pragma once

#include <filesystem>

namespace test_support
{

bool is_listening(const std::filesystem::path &socket);

// Throws where nobody does in time.
void wait_until_listening(const std::filesystem::path &socket);

} // namespace test_support
