// The lab's HTTP gateway: a call over HTTP against the same call on the bus, a notification to 200 subscribers, memory,
// and what it takes while nobody looks.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <unistd.h>

#include "bench/lab.h"
#include "tests/http/http_client.h"
#include "tests/support/programs.h"

namespace
{

using test_support::Process;

constexpr size_t kSubscribers = 200;
constexpr const char *kRequest = R"({"jsonrpc":"2.0","id":1,"method":"call","params":[")";

[[noreturn]] void give_up(const std::string &what)
{
    fprintf(stderr, "wexond-bench: %s\n", what.c_str());
    exit(1);
}

class Gateway
{
  public:
    explicit Gateway(const Lab &lab)
    {
        std::ofstream(lab.path("acl.json")) << R"({"all": {"read": {"ubus": {"*": ["*"]}}}})";
        start_ = time_of([&] {
            process_.emplace(std::vector<std::string>{built_program("labhttpd"), "--bus", lab.path("ubus.sock"),
                                                      "--acl", lab.path("acl.json")});
            while (process_->standard_output().find('\n') == std::string::npos && process_->is_running())
                usleep(100);
        });
        const std::string line = process_->standard_output();
        if (line.empty())
            give_up("the gateway does not start: " + process_->standard_error());
        port_ = static_cast<uint16_t>(std::stoul(line.substr(line.rfind(':') + 1)));
        const std::string answer = HttpClient(port_)
                                       .ask("POST", "/ubus",
                                            kRequest + std::string(32, '0') +
                                                R"(","session","login",{"username":"admin","password":"admin"}]})")
                                       .body;
        session_ = answer.substr(57, 32);
    }

    pid_t pid() const { return process_->pid(); }
    uint16_t port() const { return port_; }
    const std::string &session() const { return session_; }
    Microseconds start_time() const { return start_; }

  private:
    std::optional<Process> process_;
    Microseconds start_{0};
    uint16_t port_ = 0;
    std::string session_;
};

void call(HttpClient &client, const Gateway &gateway, const std::string &object, const std::string &method)
{
    const std::string body = kRequest + gateway.session() + "\",\"" + object + "\",\"" + method + "\",{}]}";
    if (client.ask("POST", "/ubus", body).body.find("\"result\":[0") == std::string::npos)
        give_up(object + " is not called");
}

void report_call(const Lab &lab, const Gateway &gateway, const std::string &object, const std::string &method)
{
    constexpr int kRounds = 2000;
    HttpClient client(gateway.port());
    const uint32_t id = lab.wait_for(object);
    std::vector<std::vector<Microseconds>> samples;
    sample_in_turn(time_of, {[&] { lab.call(id, method.c_str()); }, [&] { call(client, gateway, object, method); }},
                   kRounds, samples);
    const Microseconds bus = median(samples[0]), http = median(samples[1]);
    printf("%-18s on the bus %7.1f us, over HTTP %7.1f us: %.2f times, %.1f us more\n", (object + " " + method).c_str(),
           bus.count(), http.count(), http / bus, (http - bus).count());
}

long memory_of(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/smaps_rollup");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("Pss:"))
            return atol(line.c_str() + 4);
    return 0;
}

void report_subscribers(const Lab &lab, const Gateway &gateway)
{
    constexpr int kRounds = 50;
    const ubus_method none = {};
    ubus_object_type type = bus_object_type("bench", {none});
    ubus_object object = {.name = "bench.http", .type = &type};
    if (ubus_add_object(lab.client(), &object) != 0)
        give_up("no object");
    const long before = memory_of(gateway.pid());
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (size_t i = 0; i < kSubscribers; i++) {
        clients.push_back(std::make_unique<HttpClient>(gateway.port()));
        clients.back()->request("GET", "/ubus/subscribe/bench.http?session=" + gateway.session());
        if (clients.back()->read_until(":\n\n\r\n").find("event-stream") == std::string::npos)
            give_up("no stream");
    }
    const long with = memory_of(gateway.pid());
    std::vector<Microseconds> times;
    for (int round = 0; round < kRounds; round++)
        times.push_back(time_of([&] {
            ubus_notify(lab.client(), &object, "bench", nullptr, -1);
            for (const auto &client : clients)
                client->read_until("{}\n\n\r\n");
        }));
    printf("a notification to %zu subscribers      %8.1f us, %.1f us for each\n", kSubscribers, median(times).count(),
           median(times).count() / kSubscribers);
    printf("memory (Pss)                            %8ld KiB, with the subscribers %ld KiB, %.1f KiB for each\n",
           before, with, static_cast<double>(with - before) / kSubscribers);
    ubus_remove_object(lab.client(), &object);
}

long switches_of(pid_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("voluntary_ctxt_switches:"))
            return atol(line.c_str() + strlen("voluntary_ctxt_switches:"));
    return 0;
}

void report_rest(const Gateway &gateway)
{
    constexpr std::chrono::seconds kSettle{2}, kRest{3};
    std::this_thread::sleep_for(kSettle); // until it has noticed that nobody is there any more
    const long before = switches_of(gateway.pid());
    std::this_thread::sleep_for(kRest);
    printf("wake-ups in 3 s while nobody looks      %8ld\n", switches_of(gateway.pid()) - before);
}

} // namespace

void bench_http()
{
    Lab lab;
    Process daemon = lab.start_daemon();
    Process bare = lab.start_bare_program(1);
    lab.wait_for("wexond.devinfo.ext");
    const Gateway gateway(lab);
    printf("from its start until it serves          %8.1f ms\n", gateway.start_time().count() / 1000);
    report_call(lab, gateway, "bench.1", "noop");
    report_call(lab, gateway, "wexond.ledswitch", "get");
    report_subscribers(lab, gateway);
    report_rest(gateway);
    lab.stop_broker();
    daemon.wait();
}
