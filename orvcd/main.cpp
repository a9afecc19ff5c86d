// orvcd, the lab's configuration service: a whole virtual router behind one socket.

#include "domainsocket.h"
#include "event_command.h"
#include "server.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <vector>

namespace
{

struct Options {
    std::string socket = "/tmp/orvc.sock";
    std::string events = "/tmp/orvc_wexond_event.sock";
    std::string state;
    unsigned life = 15;
    bool log = false;
};

// A listening socket whose file goes when it does.
class Listener
{
  public:
    explicit Listener(const std::string &path) : path_(path), descriptor_(SOCKET_InitListenServer(path.c_str()))
    {
        if (descriptor_ < 0)
            throw std::runtime_error(path + ": " +
                                     (errno == EADDRINUSE ? "somebody serves this socket" : strerror(errno)));
    }
    ~Listener()
    {
        unlink(path_.c_str()); // while it listens: nobody else can have taken its place
        SOCKET_Close(descriptor_);
    }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;
    int descriptor() const { return descriptor_; }

  private:
    std::string path_;
    int descriptor_;
};

// Descriptor that is readable once the process is asked to end. Called before there are threads, which inherit the
// mask.
int catch_end_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN); // a log that nobody reads any more
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

void run(const Options &options)
{
    int end = catch_end_signals();
    if (end < 0)
        throw std::runtime_error(std::string("signalfd: ") + strerror(errno));
    State state(options.state);
    Service service(state, options.events, std::chrono::seconds(options.life));
    Listener listener(options.socket);
    Server server(service, options.log);
    printf("orvcd serves %s%s%s\n", options.socket.c_str(), options.state.empty() ? "" : ", state in ",
           options.state.c_str());
    server.run(listener.descriptor(), end);
    close(end);
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    CLI::App app{"The lab's configuration service: answers wexond's requests from the state of a virtual home router.\n"
                 "Ends on SIGTERM and SIGINT, and removes its socket."};
    app.add_option("--socket", options.socket, "Socket to serve")->type_name("PATH")->capture_default_str();
    app.add_option("--state", options.state,
                   "JSON file that keeps the state over restarts; made from the default home if missing "
                   "(without this option the state is in memory only)")
        ->type_name("FILE");
    app.add_option("--events", options.events, "Socket on which the daemon takes events")
        ->type_name("PATH")
        ->capture_default_str();
    app.add_option("--life", options.life, "Something happens by itself every so many seconds; 0 for never")
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_flag("--log", options.log,
                 "Write a line per request: type, name, flag, request length, expected length, return code");
    std::string event;
    std::vector<std::string> fields;
    CLI::App *send = app.add_subcommand("event", "Send one event to the daemon, and nothing else");
    send->add_option("NAME", event, "Which")->required();
    send->add_option("FIELD=VALUE", fields, "What it holds, where that is not as listed below");
    send->add_option("--events", options.events, "Socket on which the daemon takes events")
        ->type_name("PATH")
        ->capture_default_str();
    send->footer(list_events());
    CLI11_PARSE(app, argc, argv);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        if (send->parsed())
            send_event(options.events, event, fields);
        else
            run(options);
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "orvcd: %s\n", error.what());
        return 1;
    }
}
