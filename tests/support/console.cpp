#include "tests/support/console.h"

#include <fcntl.h>
#include <regex>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace test_support
{

constexpr int kCapacity = 1024 * 1024;

Console::Console(const std::filesystem::path &path)
{
    // Open for writing too, so that neither side ever waits for the other or sees its end.
    if (mkfifo(path.c_str(), 0600) || (fd_ = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) < 0)
        throw std::system_error(errno, std::generic_category(), path);
    fcntl(fd_, F_SETPIPE_SZ, kCapacity);
}

Console::~Console()
{
    close(fd_);
}

std::string Console::take()
{
    std::string text;
    char part[4096];
    ssize_t length;
    while ((length = read(fd_, part, sizeof(part))) > 0)
        text.append(part, static_cast<size_t>(length));
    static const std::regex line_start(R"(\[(\w+)\.\d+\]: )");
    return std::regex_replace(text, line_start, "[$1.#]: ");
}

} // namespace test_support
