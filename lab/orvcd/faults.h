// Faults that the service plays on demand, from now on or for a while: what a daemon meets when its router's
// configuration service is ill.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

struct Fault {
    enum Kind {
        NONE,
        SILENT,  // not acted on, not answered; the connection stays
        DROP,    // acted on, but not answered; the connection stays
        CLOSE,   // not acted on; the connection is closed instead of an answer
        CODE,    // not acted on; answered by this return code alone
        DELAY,   // answered so many milliseconds later
        SHORT,   // the record of the answer lacks its last bytes
        LONG,    // the record of the answer has bytes more
        GARBAGE, // the record of the answer is of its length, and of bytes that mean nothing
    };
    Kind kind = NONE;
    uint32_t value = 0; // of CODE, DELAY, SHORT and LONG
};

// "delay=500"; empty for NONE
std::string text_of(const Fault &fault);

class Faults
{
  public:
    // Carries out the words of a command, which come one space apart:
    //     TYPE|NAME|all silent|drop|close|code=N|delay=MS|short=N|long=N|garbage [for N requests|for S seconds]
    //     clear
    //     list
    // Returns what there is to say. Throws std::runtime_error for words that make no command.
    std::string command(const std::string &words);

    // The fault to play on a request of this type, or NONE; one that is for some requests is then for one less. A fault
    // of the type goes before one of all.
    Fault take(uint32_t type);

  private:
    using Clock = std::chrono::steady_clock;
    struct Plan {
        std::optional<uint32_t> type; // none for all
        Fault fault;
        std::optional<uint64_t> requests; // left
        std::optional<Clock::time_point> end;
    };

    void set(Plan plan);
    std::string list();
    void drop_finished();

    std::mutex mutex_;
    std::list<Plan> plans_; // those of a type first
};

// The message type of such a command on the service's socket: none of the daemon's. Its record is the words; the answer
// is 0 and what there is to say, or 1 and the complaint.
constexpr uint32_t kFaultCommand = 0x6661756C;

// Sends a command to the service at `socket`, and prints what it says. Throws std::runtime_error with its complaint,
// and where nobody serves there.
void send_fault_command(const std::string &socket, const std::string &words);
