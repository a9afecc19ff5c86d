#include "state.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

#include "homes.h"

namespace
{

[[noreturn]] void fail(const std::string &file, const std::string &reason)
{
    throw std::runtime_error(file + ": " + reason);
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

bool State::Stamp::operator==(const Stamp &other) const
{
    return inode == other.inode && size == other.size && time.tv_sec == other.time.tv_sec &&
           time.tv_nsec == other.time.tv_nsec;
}

// All zero where there is no such file.
State::Stamp State::stamp() const
{
    struct stat status;
    if (stat(file_.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return {};
    return {status.st_ino, status.st_size, status.st_mtim};
}

State::State(std::string file, bool lenient) : file_(std::move(file)), lenient_(lenient), home_(first_home())
{
    if (file_.empty())
        return;
    known_ = stamp();
    if (std::filesystem::exists(file_))
        home_ = read_home(file_, lenient_);
    else
        save(home_);
}

// A file that was edited a moment ago is taken up first, so that no edit is written over unseen.
void State::change(const std::function<bool(Json &)> &change)
{
    if (!file_.empty())
        take_edit(stamp());
    Json home = home_;
    if (!change(home) || home == home_)
        return;
    if (!file_.empty())
        save(home);
    home_ = std::move(home);
}

void State::look_at_file()
{
    if (file_.empty())
        return;
    Stamp now = stamp();
    if (now == seen_)
        take_edit(now);
    seen_ = now;
}

// A file that has gone is no edit: the next change writes it again.
void State::take_edit(const Stamp &now)
{
    if (now == known_ || now == Stamp{})
        return;
    known_ = now;
    refused_ = true;
    try {
        home_ = read_home(file_, lenient_);
        refused_ = false;
        printf("orvcd: %s: taken up as it was edited\n", file_.c_str());
    } catch (const std::exception &error) {
        fprintf(stderr, "orvcd: not taken up: %s\n", error.what());
    }
}

void State::put_refused_aside()
{
    std::string aside = file_ + ".refused";
    if (refused_ && rename(file_.c_str(), aside.c_str()) == 0)
        fprintf(stderr, "orvcd: %s: kept as %s\n", file_.c_str(), aside.c_str());
    refused_ = false;
}

void State::save(const Json &home)
{
    std::string temporary = file_ + ".XXXXXX";
    int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        fail(file_, strerror(errno));
    put_refused_aside();
    bool saved = write_whole(fd, home.dump(2) + "\n") && rename(temporary.c_str(), file_.c_str()) == 0;
    int error = errno;
    close(fd);
    if (!saved) {
        unlink(temporary.c_str());
        fail(file_, strerror(error));
    }
    known_ = stamp();
    sync_folder(file_);
}
