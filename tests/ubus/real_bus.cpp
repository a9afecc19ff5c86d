#include "real_bus.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/emulator.h"

void PrintTo(const Outcome &outcome, std::ostream *out)
{
    *out << "status " << outcome.status << "\noutput: " << outcome.output << "\nerrors: " << outcome.errors;
}

static int exit_status(pid_t pid)
{
    int status;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

static pid_t start(const std::vector<std::string> &arguments, int output, int errors)
{
    std::vector<char *> argv;
    const std::vector<std::string> command = emulated(arguments);
    for (const std::string &word : command)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);

    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves nothing behind
        dup2(output, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        for (int number : {SIGINT, SIGTERM, SIGPIPE, SIGCHLD})
            ::signal(number, SIG_DFL); // which the event loop of the test may have changed
        execvp(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

struct Ends {
    int reading;
    int writing;
};

static Ends make_pipe()
{
    int ends[2];
    EXPECT_EQ(0, pipe2(ends, O_CLOEXEC));
    return {ends[0], ends[1]};
}

static Ends make_terminal()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    EXPECT_EQ(0, grantpt(master));
    EXPECT_EQ(0, unlockpt(master));
    return {master, open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC)};
}

Program::Program(std::vector<std::string> arguments, bool at_terminal)
{
    const Ends output_ends = make_pipe(), error_ends = at_terminal ? make_terminal() : make_pipe();

    pid = start(arguments, output_ends.writing, error_ends.writing);
    close(output_ends.writing);
    close(error_ends.writing);
    output = output_ends.reading;
    errors = error_ends.reading;
    fcntl(output, F_SETFL, O_NONBLOCK);
    fcntl(errors, F_SETFL, O_NONBLOCK);
}

Program::~Program()
{
    if (output >= 0)
        close(output);
    close(errors);
    if (pid > 0) {
        kill(pid, SIGKILL);
        exit_status(pid);
    }
}

void Program::signal(int number) const
{
    kill(pid, number);
}

static bool append(int fd, std::string &text)
{
    char part[4096];
    ssize_t got;

    while ((got = read(fd, part, sizeof(part))) > 0)
        text.append(part, static_cast<size_t>(got));
    return got < 0 && errno == EAGAIN;
}

// Whether there may be more.
bool Program::read_on()
{
    const bool more_output = append(output, outcome.output), more_errors = append(errors, outcome.errors);
    return more_output || more_errors;
}

bool run_until(const std::function<bool()> &reached)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10 * kSlowness);

    while (!reached()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        uloop_run_timeout(5);
    }
    return true;
}

bool Program::has_printed(const std::string &text)
{
    read_on();
    return outcome.output.find(text) != std::string::npos;
}

void Program::close_output()
{
    close(output);
    output = -1;
}

Outcome Program::wait()
{
    EXPECT_TRUE(run_until([&] { return !read_on(); })) << outcome.output << outcome.errors;
    outcome.status = exit_status(pid);
    pid = -1;
    return outcome;
}

RealBus::RealBus() : path(folder.path + "/bus")
{
    uloop_init();
    start_broker();
}

RealBus::~RealBus()
{
    if (broker > 0)
        stop_broker();
    uloop_done();
}

void RealBus::start_broker()
{
    broker = start({built_program("ubusd"), "--open", "-s", path}, STDOUT_FILENO, STDERR_FILENO);
    EXPECT_TRUE(run_until([this] {
        ubus_context probe;
        int const status = ubus_connect_ctx(&probe, path.c_str());
        ubus_shutdown(&probe);
        return status == UBUS_STATUS_OK;
    }));
}

void RealBus::stop_broker(int signal)
{
    kill(broker, signal);
    EXPECT_EQ(signal == SIGKILL ? 128 + SIGKILL : 0, exit_status(broker));
    broker = -1;
}

ubus_context *RealBus::connect()
{
    ubus_context *ctx = ubus_connect(path.c_str());
    EXPECT_NE(nullptr, ctx);
    ubus_add_uloop(ctx);
    return ctx;
}

std::vector<std::string> RealBus::tool(std::initializer_list<std::string> arguments) const
{
    std::vector<std::string> all = {built_program("ubus"), "-s", path};
    all.insert(all.end(), arguments);
    return all;
}

Child::Child(const std::function<void()> &function) : pid(fork())
{
    if (pid == 0) {
        uloop_done(); // the parent's, with its sockets
        function();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
}

Child::~Child()
{
    EXPECT_EQ(0, exit_status(pid));
}
