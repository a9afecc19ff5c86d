#include "state.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <unistd.h>

namespace
{

[[noreturn]] void fail(const std::string &file, const std::string &reason)
{
    throw std::runtime_error(file + ": " + reason);
}

Json load(const std::string &file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        fail(file, strerror(errno));
    try {
        Json home = Json::parse(stream);
        complete_home(home);
        return home;
    } catch (const std::exception &error) {
        fail(file, std::string("this is no state of a home (left as it is): ") + error.what());
    }
}

bool write_whole(int fd, const std::string &text)
{
    for (size_t done = 0; done < text.size();) {
        ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR)
            return false;
        done += written > 0 ? static_cast<size_t>(written) : 0;
    }
    return fsync(fd) == 0;
}

// A file's new name is on disk when its folder is; some file systems know no such thing.
void sync_folder(const std::string &file)
{
    std::filesystem::path folder = std::filesystem::path(file).parent_path();
    int fd = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    fsync(fd);
    close(fd);
}

} // namespace

State::State(std::string file) : file_(std::move(file)), home_(default_home())
{
    if (file_.empty())
        return;
    if (std::filesystem::exists(file_))
        home_ = load(file_);
    else
        save(home_);
}

void State::change(const std::function<bool(Json &)> &change)
{
    Json home = home_;
    if (!change(home) || home == home_)
        return;
    if (!file_.empty())
        save(home);
    home_ = std::move(home);
}

void State::save(const Json &home) const
{
    std::string temporary = file_ + ".XXXXXX";
    int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        fail(file_, strerror(errno));
    bool saved = write_whole(fd, home.dump(2) + "\n") && rename(temporary.c_str(), file_.c_str()) == 0;
    int error = errno;
    close(fd);
    if (!saved) {
        unlink(temporary.c_str());
        fail(file_, strerror(error));
    }
    sync_folder(file_);
}
