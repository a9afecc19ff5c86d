// orvcd, the lab's configuration service: a whole virtual router behind one socket.

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

#include "domainsocket.h"
#include "event_command.h"
#include "faults.h"
#include "homes.h"
#include "journal.h"
#include "server.h"

namespace
{

struct Options {
    std::string socket = "/tmp/orvc.sock";
    std::string events = "/tmp/orvc_wexond_event.sock";
    std::string state;
    unsigned life = 15;
    std::string home = "home";
    bool lenient = false;
    Journal::Options journal;
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
    set_first_home(find_home(options.home, options.lenient));
    State state(options.state, options.lenient);
    Journal journal(options.journal);
    Service service(state, journal, options.events, std::chrono::seconds(options.life), options.lenient);
    Listener listener(options.socket);
    Server server(service, journal);
    printf("orvcd serves %s%s%s\n", options.socket.c_str(), options.state.empty() ? "" : ", state in ",
           options.state.c_str());
    server.run(listener.descriptor(), end);
    close(end);
}

// Several words as one text, a space apart.
std::string join(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

} // namespace

constexpr const char *kFaultHelp =
    "What: TYPE|NAME|all silent|drop|close|code=N|delay=MS|short=N|long=N|garbage [for N requests|for S seconds]\n"
    "      clear\n"
    "      list\n"
    "TYPE and NAME are those of --log. A type has one fault at a time; one of its own goes before that of all.\n"
    "  silent   the request is neither acted on nor answered\n"
    "  drop     it is acted on, but not answered\n"
    "  close    the connection is closed instead of an answer\n"
    "  code=N   it is not acted on, and answered by the return code N\n"
    "  delay=MS it is answered so many milliseconds later\n"
    "  short=N  the record of the answer lacks its last N bytes\n"
    "  long=N   the record of the answer has N bytes more\n"
    "  garbage  the record of the answer is of its length, and of bytes that mean nothing\n";

int main(int argc, char **argv)
{
    Options options;
    CLI::App app{"The lab's configuration service: answers wexond's requests from the state of a virtual home router.\n"
                 "Ends on SIGTERM and SIGINT, and removes its socket."};
    auto add_socket = [&](CLI::App &command, const char *text) {
        command.add_option("--socket", options.socket, text)->type_name("PATH")->capture_default_str();
    };
    auto add_events = [&](CLI::App &command) {
        command.add_option("--events", options.events, "Socket on which the daemon takes events")
            ->type_name("PATH")
            ->capture_default_str();
    };
    add_socket(app, "Socket to serve");
    app.add_option("--state", options.state,
                   "JSON file that keeps the state over restarts; made from the first home if missing "
                   "(without this option the state is in memory only). It may be edited meanwhile")
        ->type_name("FILE");
    app.add_option("--home", options.home,
                   "The first home, and that of a reset: home, crowded (128 stations), bare (fresh from the factory), "
                   "mesh (three nodes, one behind the other), or a file")
        ->type_name("NAME|FILE")
        ->capture_default_str();
    add_events(app);
    app.add_option("--life", options.life, "Something happens by itself every so many seconds; 0 for never")
        ->type_name("SECONDS")
        ->capture_default_str();
    app.add_flag("--lenient", options.lenient, "Take settings that no router takes, and homes that have them");
    app.add_flag("--log", options.journal.log,
                 "Write a line per request: type, name, flag, request length, expected length, return code, fields");
    app.add_option("--record", options.journal.file, "Add a line of JSON per request and event to a file")
        ->type_name("FILE");
    app.add_flag("--show-secrets", options.journal.show_secrets, "Do not mask passwords and keys in log and recording");
    std::string checked;
    app.add_option("--check", checked, "Say what is wrong with a file as a home, and nothing else")->type_name("FILE");

    std::string event;
    std::vector<std::string> fields;
    CLI::App *send = app.add_subcommand("event", "Send one event to the daemon, and nothing else");
    send->add_option("NAME", event, "Which")->required();
    send->add_option("FIELD=VALUE", fields, "What it holds, where that is not as listed below");
    add_events(*send);
    send->footer(list_events());

    std::vector<std::string> words;
    CLI::App *fault = app.add_subcommand("fault", "Have the running service play a fault from now on");
    fault->add_option("WORDS", words, "What, as below")->required();
    add_socket(*fault, "Socket of the service");
    fault->footer(kFaultHelp);

    std::string recording;
    double speed = 1;
    CLI::App *repeat = app.add_subcommand("replay", "Send the events of a recording again");
    repeat->add_option("FILE", recording, "Made by --record")->required();
    repeat->add_option("--speed", speed, "How many times as fast as they came; 0 for at once")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    add_events(*repeat);

    CLI11_PARSE(app, argc, argv);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        if (!checked.empty())
            return check_home_file(checked) ? 0 : 1;
        if (send->parsed())
            send_event(options.events, event, fields);
        else if (fault->parsed())
            send_fault_command(options.socket, join(words));
        else if (repeat->parsed())
            replay(recording, options.events, speed);
        else
            run(options);
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "orvcd: %s\n", error.what());
        return 1;
    }
}
