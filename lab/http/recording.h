// The recording of the lab's service as it grows. It is read only while somebody looks.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "event_loop.h"
#include "server.h"

class Recording
{
  public:
    explicit Recording(std::string file) : file_(std::move(file)) {}

    bool is_kept() const { return !file_.empty(); }

    // The lines from now on, and before them the last `count`, or, where `after` is the place that a client has seen
    // last, all since then; of those before 1000 and 1 MiB at most.
    void add(const std::shared_ptr<Stream> &stream, size_t count, const std::string &after);

  private:
    void read_on();
    void read_from_end();
    std::vector<std::string> lines_before(size_t count, const std::string &after);
    std::string read_at(long long place, size_t length) const;

    std::string file_;
    unsigned long long inode_ = 0;
    long long place_ = 0; // up to which it was read: the beginning of a line
    std::list<std::weak_ptr<Stream>> streams_;
    Timer timer_{[this] { read_on(); }};
};
