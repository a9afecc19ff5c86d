// The home document, in memory and, where a state file is given, on disk: what a change has written is there after a
// restart, whole, or not at all.
#pragma once

#include "home.h"

#include <functional>
#include <string>

class State
{
  public:
    // Starts from the default home, and keeps it in memory only where `file` is empty. Otherwise reads the file, or
    // makes it where there is none. Throws std::runtime_error where it cannot be read or written, or holds no home: a
    // damaged file is left untouched.
    explicit State(std::string file);

    const Json &home() const { return home_; }

    // Runs `change` on a copy of the home, which takes the home's place when `change` returns true and the file is
    // written. Throws std::runtime_error where it cannot be: the home is then what it was.
    void change(const std::function<bool(Json &)> &change);

  private:
    void save(const Json &home) const;

    std::string file_;
    Json home_;
};
