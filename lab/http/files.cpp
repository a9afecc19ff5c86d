#include "files.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr off_t kMostLength = 16 * 1024 * 1024;

class Descriptor
{
  public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { reset(-1); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const { return number_; }
    void reset(int number)
    {
        if (number_ >= 0)
            close(number_);
        number_ = number;
    }

  private:
    int number_;
};

std::optional<std::string> read_plain(int descriptor)
{
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || kMostLength < status.st_size)
        return std::nullopt;
    std::string content(static_cast<size_t>(status.st_size), '\0');
    size_t length = 0;
    for (ssize_t got; length < content.size(); length += static_cast<size_t>(got)) {
        got = read(descriptor, content.data() + length, content.size() - length);
        if (got <= 0)
            break;
    }
    content.resize(length);
    return content;
}

} // namespace

std::optional<std::string> read_file_below(const std::string &folder, const std::string &name)
{
    Descriptor at(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    size_t begin = 0;
    for (size_t end; (end = name.find('/', begin)) != std::string::npos; begin = end + 1)
        at.reset(
            openat(at.get(), name.substr(begin, end - begin).c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    // Without waiting for anybody to write, where it is a pipe.
    at.reset(openat(at.get(), name.substr(begin).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return at.get() < 0 ? std::nullopt : read_plain(at.get());
}

std::string read_whole_file(const std::string &path)
{
    std::ifstream stream(path, std::ios::binary);
    std::stringstream content;
    content << stream.rdbuf();
    if (!stream || !content)
        throw std::runtime_error(path + ": " + strerror(errno));
    return content.str();
}

std::string program_folder()
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

std::string data_folder()
{
    const std::filesystem::path installed = std::filesystem::path(program_folder()).parent_path() / DATA_FOLDER;
    return std::filesystem::is_directory(installed) ? installed.string() : "";
}
