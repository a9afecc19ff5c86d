// A broker process of the test's own, and processes beside the test: the tool, or a child that uses the library.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "fake_broker.h"

// How a program ended: its exit status, or 128 + the signal that killed it, and what it printed.
struct Outcome {
    int status;
    std::string output;
    std::string errors;
    bool operator==(const Outcome &) const = default;
};

void PrintTo(const Outcome &outcome, std::ostream *out);

// A program whose output is kept. Standard error is a pipe, or a terminal.
class Program
{
  public:
    explicit Program(std::vector<std::string> arguments, bool at_terminal = false);
    ~Program();
    Program(const Program &) = delete;

    void signal(int number) const;
    bool has_printed(const std::string &text);
    void close_output();
    // Waits until it has ended. The event loop runs meanwhile.
    Outcome wait();

  private:
    bool read_on();

    pid_t pid;
    int output, errors;
    Outcome outcome = {};
};

class RealBus : public testing::Test
{
  protected:
    RealBus();
    ~RealBus() override;

    void start_broker();
    void stop_broker(int signal = 15);

    // A context in the event loop; the test frees it, before the broker ends.
    ubus_context *connect();

    // The tool on this bus.
    std::vector<std::string> tool(std::initializer_list<std::string> arguments) const;

    TemporaryFolder folder;
    const std::string path;

  private:
    pid_t broker = -1;
};

// Runs the event loop until then, ten seconds at most: whether it came.
bool run_until(const std::function<bool()> &reached);

// Runs the function in a child process, which must end well.
class Child
{
  public:
    explicit Child(const std::function<void()> &function);
    ~Child();
    Child(const Child &) = delete;

  private:
    pid_t pid;
};
