// The cost of attacks on the bus to others: on the bundled broker, and on another one where UBUSD names its program.
// Each row is an attack on a broker of its own, made beside a bystander who goes on calling, and then undone.

#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <list>
#include <netinet/in.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/lab.h"
#include "tests/support/programs.h"
#include "tests/ubusd/bystander.h"

namespace
{

using namespace std::chrono_literals;

constexpr auto kDuration = 1000ms;

const Bytes kPing = wire("0003 0001 00000000 00000004");

Bytes call_of(uint32_t object, size_t length)
{
    return message(5, 1, object, attribute(3, object) + attribute(4, "x") + attribute(7, Bytes(length, 1)));
}

Bytes repeated(const Bytes &bytes, size_t count)
{
    Bytes all;
    for (size_t i = 0; i < count; i++)
        all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}

Bytes registration(uint32_t object, const std::string &pattern)
{
    Bytes text = wire("0007 'pattern' 00 0000");
    text.insert(text.end(), pattern.c_str(), pattern.c_str() + pattern.size() + 1);
    const Bytes data = wire("85000014 0006 'object' 00 000000 %08x", object) + attribute(0x83, text);
    return message(5, 1, 1, attribute(3, 1) + attribute(4, "register") + attribute(7, data));
}

Bytes added(const std::string &path)
{
    return message(6, 1, 0, attribute(2, path) + attribute(6, Bytes{}));
}

// Sends and reads what comes, as fast as it goes, until everything is sent or the time is over.
void pour(const RawClient &client, const Bytes &bytes, std::chrono::milliseconds time, bool reads = true)
{
    static uint8_t answers[1 << 16];
    auto end = std::chrono::steady_clock::now() + time;
    for (size_t sent = 0; sent < bytes.size() && std::chrono::steady_clock::now() < end;) {
        ssize_t count = send(client.fd(), bytes.data() + sent, bytes.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
        sent += count > 0 ? static_cast<size_t>(count) : 0;
        bool read = false;
        while (reads && recv(client.fd(), answers, sizeof(answers), MSG_DONTWAIT) > 0)
            read = true;
        if (count <= 0 && !read)
            usleep(200);
    }
}

using Attackers = std::list<RawClient>;

RawClient &join(Attackers &attackers, const Broker &broker)
{
    return attackers.emplace_back(broker);
}

// The owner stands still while it is attacked, as a daemon does that waits for its service.
struct Victim {
    RawClient client;
    uint32_t object;
};

void flood_calls(const Broker &broker, const Victim &victim, Attackers &attackers)
{
    pour(join(attackers, broker), repeated(call_of(victim.object, 200), 100000), kDuration);
}

void flood_large_calls(const Broker &broker, const Victim &victim, Attackers &attackers)
{
    pour(join(attackers, broker), repeated(call_of(victim.object, 60000), 500), kDuration);
}

void request_and_not_read(const Broker &broker, const Victim &, Attackers &attackers)
{
    const Bytes requests = repeated(message(3, 1, 0, attribute(7, Bytes(100000, 1))), 30);
    for (int i = 0; i < 50; i++)
        pour(join(attackers, broker), requests, kDuration / 20, false);
}

void keep_many_busy(const Broker &broker, const Victim &, Attackers &attackers)
{
    for (int i = 0; i < 100; i++)
        join(attackers, broker);
    const Bytes pings = repeated(kPing, 3000);
    auto end = std::chrono::steady_clock::now() + kDuration;
    while (std::chrono::steady_clock::now() < end)
        for (const RawClient &client : attackers)
            pour(client, pings, 2ms);
}

void connect_and_leave(const Broker &broker, const Victim &, Attackers &)
{
    auto end = std::chrono::steady_clock::now() + kDuration;
    while (std::chrono::steady_clock::now() < end) {
        int fds[50];
        for (int &fd : fds)
            fd = connect_to(broker.path());
        for (int fd : fds)
            close(fd);
    }
}

void leave_beside_patterns(const Broker &broker, const Victim &, Attackers &attackers)
{
    for (int i = 0; i < 20; i++) {
        const RawClient &listener = join(attackers, broker);
        uint32_t object = listener.add_anonymous();
        Bytes requests;
        for (int j = 0; j < 1000; j++)
            requests = requests + registration(object, "other" + std::to_string(j));
        pour(listener, requests, kDuration);
    }
    for (int i = 0; i < 5; i++) {
        RawClient owner(broker);
        Bytes requests;
        for (int j = 0; j < 10000; j++)
            requests = requests + added("o" + std::to_string(i) + "." + std::to_string(j));
        pour(owner, requests, 10s);
    }
    std::this_thread::sleep_for(kDuration);
}

void subscribe_often(const Broker &broker, const Victim &victim, Attackers &attackers)
{
    const RawClient &subscriber = join(attackers, broker);
    uint32_t object = subscriber.add_anonymous();
    const RawClient &owner = join(attackers, broker);
    Bytes requests;
    for (int i = 0; i < 8000; i++) {
        uint32_t target = i == 0 ? victim.object : owner.add_anonymous();
        requests = requests + message(8, 1, 0, attribute(3, object) + attribute(8, target));
    }
    pour(subscriber, requests, 10s);
    pour(subscriber, requests, 10s);
}

void send_halves(const Broker &broker, const Victim &, Attackers &attackers)
{
    const Bytes whole = message(3, 1, 0, attribute(7, Bytes(1000000, 1)));
    for (int i = 0; i < 100; i++)
        pour(join(attackers, broker), Bytes(whole.begin(), whole.end() - 1), kDuration / 50);
}

void hold_names(const Broker &broker, const Victim &, Attackers &attackers)
{
    for (int i = 0; i < 10; i++) {
        const RawClient &owner = join(attackers, broker);
        for (int j = 0; j < 20; j++)
            pour(owner, added(std::to_string(i) + "." + std::to_string(j) + std::string(1000000, 'x')), kDuration / 10);
    }
}

void wait_until_stopped(pid_t pid)
{
    int how;
    kill(pid, SIGSTOP);
    waitpid(pid, &how, WUNTRACED);
}

std::vector<int> silent_peers; // of connections that linger

int lingering_socket()
{
    int listening = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}};
    socklen_t length = sizeof(address);
    bind(listening, reinterpret_cast<sockaddr *>(&address), sizeof(address));
    listen(listening, 1);
    getsockname(listening, reinterpret_cast<sockaddr *>(&address), &length);
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address));
    silent_peers.push_back(accept(listening, nullptr, nullptr));
    close(listening);
    linger patience = {.l_onoff = 1, .l_linger = 3};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &patience, sizeof(patience));
    static const char data[1 << 16] = {};
    while (send(fd, data, sizeof(data), MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {
    }
    return fd;
}

// Passed in the queue of a socket that is passed, so that its end is the broker's doing.
void pass_lingering(const Broker &broker, const Victim &, Attackers &attackers)
{
    const RawClient &attacker = join(attackers, broker);
    auto pass = [](int fd, int descriptor) {
        Bytes bytes = kPing;
        iovec piece = {bytes.data(), bytes.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr header = {.msg_iov = &piece, .msg_iovlen = 1, .msg_control = control, .msg_controllen = sizeof(control)};
        cmsghdr *passed = CMSG_FIRSTHDR(&header);
        passed->cmsg_level = SOL_SOCKET;
        passed->cmsg_type = SCM_RIGHTS;
        passed->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(passed), &descriptor, sizeof(descriptor));
        sendmsg(fd, &header, MSG_NOSIGNAL);
    };
    wait_until_stopped(broker.pid());
    int lingering = lingering_socket();
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) == 0) {
        pass(pair[0], lingering);
        pass(attacker.fd(), pair[1]);
        close(lingering);
        close(pair[0]);
        close(pair[1]);
    }
    kill(broker.pid(), SIGCONT);
    std::this_thread::sleep_for(4s);
}

struct Attack {
    const char *name;
    void (*run)(const Broker &, const Victim &, Attackers &);
};

constexpr Attack kAttacks[] = {
    {"small calls to an owner that stands still", flood_calls},
    {"large calls to an owner that stands still", flood_large_calls},
    {"50 that request and do not read", request_and_not_read},
    {"100 that are busy all the time", keep_many_busy},
    {"connections that come and go", connect_and_leave},
    {"50 000 objects that leave beside 20 000 patterns", leave_beside_patterns},
    {"16 000 subscriptions by one", subscribe_often},
    {"100 halves of messages", send_halves},
    {"200 MB of names", hold_names},
    {"a descriptor whose close takes 3 s", pass_lingering},
};

// Whether the owner that stood still gets the answer to a request of its own when it goes on.
bool comes_back(const Victim &victim)
{
    timeval patience = {.tv_sec = 2, .tv_usec = 0};
    setsockopt(victim.client.fd(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
    victim.client.send(added("back"));
    for (Bytes bytes; !(bytes = victim.client.receive()).empty();)
        if (bytes == status(1, 0, 0))
            return true;
    return false;
}

bool still_runs(const Broker &broker)
{
    return kill(broker.pid(), 0) == 0 && own_memory(broker.pid()) != 0;
}

std::vector<std::string> options_of(const std::string &program)
{
    return program == built_program("ubusd") ? std::vector<std::string>{"--open"} : std::vector<std::string>{};
}

void report(const Attack &attack, const std::string &program)
{
    Broker broker({.program = program, .arguments = options_of(program)});
    long before = own_memory(broker.pid());
    Victim victim = {RawClient(broker), 0};
    victim.object = victim.client.add_named("victim").object;
    Bystander bystander(broker);
    Attackers attackers;
    attack.run(broker, victim, attackers);
    long held = own_memory(broker.pid());
    Bystander::Experience experience = bystander.stop();
    bool is_back = still_runs(broker) && comes_back(victim);
    attackers.clear();
    victim.client.close();
    std::this_thread::sleep_for(kDuration);
    std::vector<Microseconds> answers;
    for (double seconds : experience.answers)
        answers.emplace_back(seconds * 1e6);
    printf("| %-48s | %8.2f | %8.1f | %8ld | %8ld | %s |\n", attack.name, median(answers).count() / 1e3,
           std::ranges::max(answers).count() / 1e3, std::max(held, experience.most_memory) - before,
           own_memory(broker.pid()) - before,
           !still_runs(broker) ? "the broker ended"
           : experience.failed ? "a call got no answer"
           : is_back           ? "yes"
                               : "no");
    for (int fd : silent_peers)
        close(fd);
    silent_peers.clear();
}

void report_all(const char *title, const std::string &program)
{
    printf("%s\n", title);
    printf("| %-48s | %8s | %8s | %8s | %8s | owner comes back |\n", "attack", "median", "longest", "held", "after");
    printf("| --- | ---: | ---: | ---: | ---: | --- |\n");
    for (const Attack &attack : kAttacks)
        report(attack, program);
}

} // namespace

void bench_attacks()
{
    // Attackers have a processor of their own where there is one, as they would have.
    cpu_set_t processors;
    memset(&processors, 0xff, sizeof(processors));
    sched_setaffinity(0, sizeof(processors), &processors);
    printf("a bystander's answers in ms, memory in KiB\n");
    report_all("the bundled broker", built_program("ubusd"));
    if (const char *other = getenv("UBUSD"))
        report_all("the installed broker", other);
}
