#include "tests/ubusd/raw_bus.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/support/emulator.h"

using namespace std::chrono_literals;

namespace
{

constexpr auto kPatience = 10s * kSlowness;

void append_be32(Bytes &bytes, uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<uint8_t>(value >> shift));
}

std::string hex(const Bytes &bytes, size_t from)
{
    std::string text;
    for (size_t i = from; i < std::min(bytes.size(), from + 64); i++) {
        char digits[4];
        snprintf(digits, sizeof(digits), i % 4 == 3 ? "%02x " : "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

void limit_resource(__rlimit_resource resource, rlim_t soft, rlim_t hard)
{
    rlimit limit;
    getrlimit(resource, &limit);
    limit.rlim_max = hard == 0 ? limit.rlim_max : hard;
    limit.rlim_cur = soft == 0 ? limit.rlim_max : soft;
    setrlimit(resource, &limit);
}

// Whether something comes before patience is over. Signals, as of a child that stops, interrupt the wait.
bool becomes_readable(int fd)
{
    pollfd waiting = {.fd = fd, .events = POLLIN};
    int ready;
    do
        ready = poll(&waiting, 1, std::chrono::milliseconds(kPatience).count());
    while (ready < 0 && errno == EINTR);
    return ready == 1;
}

// Reads until `wanted` bytes are there; false where the peer closed or nothing came for long.
bool read_all(int fd, uint8_t *data, size_t wanted)
{
    while (wanted != 0) {
        if (!becomes_readable(fd))
            return false;
        ssize_t count = recv(fd, data, wanted, 0);
        if (count <= 0)
            return false;
        data += count;
        wanted -= count;
    }
    return true;
}

} // namespace

Bytes wire(const char *format, ...)
{
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    Bytes bytes;
    for (const char *at = text; *at != '\0';) {
        if (*at == ' ') {
            at++;
        } else if (*at == '\'') {
            const char *end = strchr(at + 1, '\'');
            bytes.insert(bytes.end(), at + 1, end);
            at = end + 1;
        } else {
            bytes.push_back(static_cast<uint8_t>(std::stoul(std::string(at, 2), nullptr, 16)));
            at += 2;
        }
    }
    return bytes;
}

Bytes attribute(unsigned id, const Bytes &payload)
{
    Bytes bytes;
    append_be32(bytes, id << 24 | static_cast<uint32_t>(4 + payload.size()));
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

Bytes attribute(unsigned id, std::string_view text)
{
    Bytes payload(text.begin(), text.end());
    payload.push_back(0);
    return attribute(id, payload);
}

Bytes attribute(unsigned id, uint32_t value)
{
    Bytes payload;
    append_be32(payload, value);
    return attribute(id, payload);
}

Bytes operator+(Bytes left, const Bytes &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes message(unsigned type, unsigned seq, uint32_t peer, const Bytes &attributes)
{
    Bytes bytes = {0, static_cast<uint8_t>(type), static_cast<uint8_t>(seq >> 8), static_cast<uint8_t>(seq)};
    append_be32(bytes, peer);
    append_be32(bytes, static_cast<uint32_t>(4 + attributes.size()));
    return bytes + attributes;
}

Bytes status(unsigned seq, uint32_t peer, unsigned code)
{
    return wire("0001 %04x %08x 0000000c 01000008 %08x", seq, peer, code);
}

Bytes user_and_group()
{
    Bytes attributes;
    if (const passwd *user = getpwuid(geteuid()))
        attributes = attributes + attribute(12, std::string_view(user->pw_name));
    if (const group *group = getgrgid(getegid()))
        attributes = attributes + attribute(13, std::string_view(group->gr_name));
    return attributes;
}

testing::AssertionResult same(const Bytes &actual, const Bytes &expected)
{
    if (actual == expected)
        return testing::AssertionSuccess();
    size_t at = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end()).first - actual.begin();
    at -= at % 4;
    size_t from = at < 32 ? 0 : at - 16;
    return testing::AssertionFailure() << actual.size() << " bytes instead of " << expected.size()
                                       << ", different from byte " << at << " on; from byte " << from
                                       << ":\n  actual   " << hex(actual, from) << "\n  expected "
                                       << hex(expected, from);
}

uint32_t number_at(const Bytes &bytes, size_t offset)
{
    if (offset + 4 > bytes.size())
        return 0;
    return uint32_t{bytes[offset]} << 24 | bytes[offset + 1] << 16 | bytes[offset + 2] << 8 | bytes[offset + 3];
}

Folder::Folder() : path_(testing::TempDir() + "ubusd-XXXXXX")
{
    if (mkdtemp(path_.data()) == nullptr)
        throw std::filesystem::filesystem_error("mkdtemp", path_, std::make_error_code(std::errc(errno)));
}

Folder::~Folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

pid_t start_broker(const std::vector<std::string> &arguments, const Limits &limits, const std::string &program)
{
    pid_t pid = fork();
    if (pid != 0)
        return pid;
    limit_resource(RLIMIT_NOFILE, limits.first_descriptors, limits.descriptors);
    limit_resource(RLIMIT_AS, limits.memory, limits.memory);
    std::vector<std::string> command = emulated({program});
    command.insert(command.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &word : command)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

int wait_for_exit(pid_t pid)
{
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

static std::vector<std::string> with_socket(std::vector<std::string> arguments, const std::string &path)
{
    arguments.insert(arguments.end(), {"-s", path});
    return arguments;
}

Broker::Broker(const Options &options)
    : path_(options.path.value_or(folder_.path() + "/bus.sock")),
      pid_(start_broker(with_socket(options.arguments, path_), options.limits, options.program))
{
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (int fd; (fd = connect_to(path_)) < 0 || ::close(fd) != 0;) {
        if (std::chrono::steady_clock::now() > deadline) {
            ADD_FAILURE() << "no broker on " << path_;
            return;
        }
        std::this_thread::sleep_for(2ms);
    }
}

Broker::~Broker()
{
    if (pid_ > 0) {
        EXPECT_EQ(end(SIGTERM), 0);
    }
}

int Broker::end(int signal)
{
    kill(pid_, signal);
    int status = wait_for_exit(pid_);
    pid_ = -1;
    return status;
}

double Broker::cpu_seconds() const
{
    std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
    std::string ignored;
    for (int field = 0; field < 13; field++)
        file >> ignored;
    double user = 0;
    double system = 0;
    file >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

int connect_to(const std::string &path)
{
    sockaddr_un address = {.sun_family = AF_UNIX};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

RawClient::RawClient(const Broker &broker) : RawClient(connect_to(broker.path())) {}

RawClient::RawClient(int connection) : fd_(connection)
{
    Bytes greeting = receive();
    id_ = number_at(greeting, 4);
    EXPECT_BYTES(greeting, wire("0000 0000 %08x 00000004", id_));
    EXPECT_GE(id_, 1024u);
}

RawClient::RawClient(RawClient &&other) noexcept : fd_(other.fd_), id_(other.id_)
{
    other.fd_ = -1;
}

void RawClient::close()
{
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

void RawClient::send(const Bytes &bytes) const
{
    for (size_t sent = 0; sent < bytes.size();) {
        ssize_t count = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0)
            return; // the test sees it by what does not come back
        sent += count;
    }
}

Bytes RawClient::receive() const
{
    Bytes bytes(12);
    if (!read_all(fd_, bytes.data(), 12))
        return {};
    size_t length = number_at(bytes, 8) & 0xffffff;
    bytes.resize(8 + length);
    return read_all(fd_, bytes.data() + 12, length - 4) ? bytes : Bytes{};
}

bool RawClient::is_closed() const
{
    uint8_t byte;
    return becomes_readable(fd_) && recv(fd_, &byte, 1, 0) <= 0;
}

Bytes RawClient::ask(const Bytes &request) const
{
    send(request);
    return receive();
}

bool RawClient::has_nothing_more() const
{
    send(wire("0003 fffe 00000000 00000004"));
    Bytes echo = receive();
    auto result = same(echo, wire("0002 fffe 00000000 00000004"));
    EXPECT_TRUE(result);
    return result && receive() == status(0xfffe, 0, 0);
}

uint32_t RawClient::add_anonymous() const
{
    Bytes answer = ask(wire("0006 00f0 00000000 00000004"));
    uint32_t object = number_at(answer, 16);
    EXPECT_BYTES(answer, wire("0002 00f0 00000000 0000000c 03000008 %08x", object));
    EXPECT_GE(object, 1024u);
    EXPECT_BYTES(receive(), status(0xf0, 0, 0));
    return object;
}

RawClient::Named RawClient::add_named(std::string_view path) const
{
    Bytes answer = ask(message(6, 0xf1, 0, attribute(2, path) + attribute(6, Bytes{})));
    Named added = {number_at(answer, 16), number_at(answer, 24)};
    EXPECT_BYTES(answer, wire("0002 00f1 00000000 00000014 03000008 %08x 05000008 %08x", added.object, added.type));
    EXPECT_GE(added.object, 1024u);
    EXPECT_GE(added.type, 1024u);
    EXPECT_BYTES(receive(), status(0xf1, 0, 0));
    return added;
}
