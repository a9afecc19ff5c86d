#include "tests/support/listening.h"

#include <fstream>
#include <thread>

#include "tests/support/process.h"

namespace test_support
{

// Lines: number, reference count, protocol, flags, type, state, inode, path. The flags of a listening socket are 10000.
bool is_listening(const std::filesystem::path &socket)
{
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);)
        if (line.ends_with(" " + socket.string()) && line.find(" 00010000 ") != std::string::npos)
            return true;
    return false;
}

void wait_until_listening(const std::filesystem::path &socket)
{
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!is_listening(socket)) {
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("nobody listens at " + socket.string());
        std::this_thread::sleep_for(Milliseconds(2));
    }
}

} // namespace test_support
