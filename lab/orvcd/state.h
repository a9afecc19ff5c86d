// The home document, in memory and, where a state file is given, on disk: what a change has written is there after a
// restart, whole, or not at all. People may edit the file meanwhile: what they write is taken up, or refused with a
// reason.
#pragma once

#include <functional>
#include <string>
#include <sys/stat.h>

#include "home.h"

class State
{
  public:
    // Starts from the first home, and keeps it in memory only where `file` is empty. Otherwise reads the file, or
    // makes it where there is none. Throws std::runtime_error where it cannot be read or written, or holds no home: a
    // damaged file is left untouched. A lenient state passes over values that no home has.
    State(std::string file, bool lenient);

    const Json &home() const { return home_; }
    bool has_file() const { return !file_.empty(); }

    // Runs `change` on a copy of the home, which takes the home's place when `change` returns true and the file is
    // written. Throws std::runtime_error where it cannot be: the home is then what it was.
    void change(const std::function<bool(Json &)> &change);

    // Takes up the file where somebody else has written it, or says on standard error why not: the home is then what it
    // was. To be called a few times a second: a file is taken up once it no longer changes between two calls.
    void look_at_file();

  private:
    // Tells one content of the file from another.
    struct Stamp {
        ino_t inode;
        off_t size;
        timespec time;
        bool operator==(const Stamp &other) const;
    };

    Stamp stamp() const;
    void take_edit(const Stamp &now);
    void save(const Json &home);
    void put_refused_aside();

    std::string file_;
    const bool lenient_;
    Json home_;
    Stamp known_ = {};     // the file as it was written or taken up last
    Stamp seen_ = {};      // as it was looked at last
    bool refused_ = false; // what stands in the file is not the home
};
