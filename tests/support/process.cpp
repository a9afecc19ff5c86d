#include "tests/support/process.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace test_support
{

namespace
{

int make_file(const char *name)
{
    int fd = memfd_create(name, MFD_CLOEXEC);
    if (fd < 0)
        throw std::system_error(errno, std::generic_category(), name);
    return fd;
}

std::string contents(int fd)
{
    std::string text;
    char part[4096];
    ssize_t length;
    while ((length = pread(fd, part, sizeof(part), static_cast<off_t>(text.size()))) > 0)
        text.append(part, static_cast<size_t>(length));
    return text;
}

std::vector<std::string> environment_with(const Process::Environment &changes)
{
    std::vector<std::string> variables;
    for (char **variable = environ; *variable; variable++)
        if (!changes.contains(std::string(*variable, strcspn(*variable, "="))))
            variables.push_back(*variable);
    for (const auto &[name, value] : changes)
        if (value)
            variables.push_back(name + "=" + *value);
    return variables;
}

std::vector<char *> pointers(const std::vector<std::string> &texts)
{
    std::vector<char *> result;
    for (const std::string &text : texts)
        result.push_back(const_cast<char *>(text.c_str()));
    result.push_back(nullptr);
    return result;
}

// In the child, where nothing but system calls is safe.
[[noreturn]] void become(char *const *arguments, char *const *environment, int output, int error)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // also when the test itself is killed
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(error, STDERR_FILENO);
    execvpe(arguments[0], arguments, environment);
    const char *reason = strerrordesc_np(errno);
    dprintf(STDERR_FILENO, "%s: %s\n", arguments[0], reason);
    _exit(127);
}

int shell_status(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

Process::Process(const std::vector<std::string> &arguments, const Environment &environment)
    : output_(make_file("stdout")), error_(make_file("stderr"))
{
    std::vector<std::string> command = emulated(arguments), variables = environment_with(environment);
    std::vector<char *> argument_pointers = pointers(command), variable_pointers = pointers(variables);
    pid_ = fork();
    if (pid_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (pid_ == 0)
        become(argument_pointers.data(), variable_pointers.data(), output_, error_);
}

Process::~Process()
{
    if (is_running()) {
        send_signal(SIGKILL);
        wait();
    }
    close(output_);
    close(error_);
}

void Process::send_signal(int signal) const
{
    if (!status_)
        kill(pid_, signal);
}

std::optional<int> Process::wait(Milliseconds limit)
{
    auto deadline = std::chrono::steady_clock::now() + limit;
    while (!status_) {
        int status;
        if (waitpid(pid_, &status, WNOHANG) == pid_)
            status_ = shell_status(status);
        else if (std::chrono::steady_clock::now() >= deadline)
            break;
        else
            std::this_thread::sleep_for(Milliseconds(2));
    }
    return status_;
}

std::string Process::standard_output() const
{
    return contents(output_);
}

std::string Process::standard_error() const
{
    return contents(error_);
}

} // namespace test_support
