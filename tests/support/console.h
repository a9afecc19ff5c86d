// Stands in for the console device: a pipe with a name, since each log line opens the console anew and would cut a
// plain file.
#pragma once

#include <filesystem>
#include <string>

namespace test_support
{

class Console
{
  public:
    explicit Console(const std::filesystem::path &path);
    ~Console();
    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    // The text written since the last call, line numbers masked: `[wexond_ledswitch_get.#]: ...`. The pipe holds
    // 1 MiB; what is written beyond that is lost.
    std::string take();

  private:
    int fd_;
};

} // namespace test_support
