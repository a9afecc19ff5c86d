#include "orvcd.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace
{

constexpr size_t kMostChildren = 4;
constexpr size_t kMostSaid = 64 * 1024;
constexpr int kTimeOutMs = 10'000;

// A line as `TYPE FAULT` or `TYPE FAULT for N requests|seconds`.
Json fault_of(const std::string &line)
{
    std::istringstream words(line);
    std::string type, fault, lead, unit;
    int64_t count = 0;
    Json json;
    words >> type >> fault;
    json = {{"type", type}, {"fault", fault}, {"for", nullptr}};
    if (words >> lead >> count >> unit)
        json["for"] = {{unit, count}};
    return json;
}

Answer fault_list(const std::string &said)
{
    Json faults = Json::array();
    std::istringstream lines(said);
    for (std::string line; std::getline(lines, line);)
        faults.push_back(fault_of(line));
    return {200, "application/json", write_json({{"faults", faults}})};
}

// One word of the program's, and none of its options.
bool is_word(const std::string *text)
{
    auto fits = [](unsigned char c) { return isalnum(c) || c == '_' || c == '=' || c == '-'; };
    return text && !text->empty() && text->front() != '-' && std::all_of(text->begin(), text->end(), fits);
}

// "for": null, {"requests":N} or {"seconds":N}
bool add_limit(const Json &limit, std::vector<std::string> &words)
{
    if (limit.is_null())
        return true;
    if (!limit.is_object() || limit.size() != 1)
        return false;
    const std::string &unit = limit.begin().key();
    const Json &count = limit.front();
    if ((unit != "requests" && unit != "seconds") || !count.is_number_unsigned())
        return false;
    words.insert(words.end(), {"for", count.dump(), unit});
    return true;
}

std::optional<std::vector<std::string>> fault_words(const Json &json)
{
    std::vector<std::string> words = {"fault"};
    if (json == Json{{"clear", true}}) {
        words.push_back("clear");
        return words;
    }
    const std::string *fault = text_member(json, "fault");
    const Json type = json.is_object() ? json.value("type", Json()) : Json();
    const std::string target = type.is_number_unsigned() ? type.dump()
                               : type.is_string()        ? type.get<std::string>()
                                                         : "";
    if (!is_word(fault) || !is_word(&target))
        return std::nullopt;
    words.insert(words.end(), {target, *fault});
    if (!add_limit(json.value("for", Json()), words))
        return std::nullopt;
    return words;
}

std::optional<std::vector<std::string>> event_words(const Json &json)
{
    const std::string *name = text_member(json, "name");
    if (!is_word(name))
        return std::nullopt;
    std::vector<std::string> words = {"event", *name};
    for (const auto &[field, value] : json.items()) {
        if (field == "name")
            continue;
        if (!is_word(&field) || field.find('=') != std::string::npos)
            return std::nullopt;
        words.push_back(field + "=" + (value.is_string() ? value.get<std::string>() : write_json(value)));
    }
    return words;
}

} // namespace

struct Orvcd::Child {
    Orvcd *owner;
    std::list<Child>::iterator place;
    std::function<Answer(const std::string &)> succeed;
    Done done;
    std::string said;
    int output = -1;
    bool is_late = false;
    std::unique_ptr<Reading> reading;
    Tied<uloop_process, Child> process;
    Timer timer{[this] {
        is_late = true;
        kill(process.item.pid, SIGKILL);
    }};

    Child() = default;
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child()
    {
        reading.reset();
        if (output >= 0)
            close(output);
        if (process.item.pending) {
            uloop_process_delete(&process.item);
            kill(process.item.pid, SIGKILL);
            waitpid(process.item.pid, nullptr, 0);
        }
    }

    // Up to its end or until there is no more for now.
    void read_on()
    {
        char buffer[4096];
        ssize_t got;
        while ((got = read(output, buffer, sizeof(buffer))) > 0)
            said.append(buffer, std::min(static_cast<size_t>(got), kMostSaid - std::min(kMostSaid, said.size())));
        if (got == 0)
            reading.reset();
    }

    bool start(const std::vector<std::string> &words);
};

bool Orvcd::Child::start(const std::vector<std::string> &words)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    std::vector<char *> arguments;
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const int error = posix_spawn(&process.item.pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    output = ends[0];
    fcntl(output, F_SETFL, O_NONBLOCK);
    return error == 0;
}

Orvcd::Orvcd(std::string program, std::string service, std::string events)
    : program_(std::move(program)), service_(std::move(service)), events_(std::move(events))
{
}

Orvcd::~Orvcd() = default;

void Orvcd::run(const std::vector<std::string> &words, std::function<Answer(const std::string &)> succeed, Done done)
{
    if (kMostChildren <= children_.size())
        return done(failure(503, "too much at once"));
    Child &child = children_.emplace_front();
    child.owner = this;
    child.place = children_.begin();
    child.succeed = std::move(succeed);
    child.done = std::move(done);
    std::vector<std::string> command = {program_};
    command.insert(command.end(), words.begin(), words.end());
    if (!child.start(command)) {
        const Done refused = std::move(child.done);
        children_.pop_front();
        return refused(failure(503, "orvcd does not start"));
    }
    child.process.owner = &child;
    child.process.item.cb = [](uloop_process *process, int status) {
        Child &child = owner_of<Child>(process);
        child.read_on();
        const bool succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        child.owner->finish(child, succeeded);
    };
    uloop_process_add(&child.process.item);
    child.reading = std::make_unique<Reading>(child.output, [&child] { child.read_on(); });
    child.timer.set(kTimeOutMs);
}

void Orvcd::finish(Child &child, bool succeeded)
{
    constexpr std::string_view kLead = "orvcd: ";
    std::string said = std::move(child.said);
    const auto succeed = std::move(child.succeed);
    const Done done = std::move(child.done);
    const bool is_late = child.is_late;
    children_.erase(child.place);
    if (succeeded)
        return done(succeed(said));
    if (said.starts_with(kLead))
        said.erase(0, kLead.size());
    said.erase(std::find(said.begin(), said.end(), '\n'), said.end());
    done(is_late ? failure(504, "no answer") : failure(400, said));
}

void Orvcd::list_faults(Done done)
{
    if (service_.empty())
        return done(failure(404, "this lab plays no faults"));
    run({"fault", "list", "--socket", service_}, fault_list, std::move(done));
}

void Orvcd::play_fault(const std::string &body, Done done)
{
    if (service_.empty())
        return done(failure(404, "this lab plays no faults"));
    const std::optional<Json> json = read_json(body);
    std::optional<std::vector<std::string>> words = json ? fault_words(*json) : std::nullopt;
    if (!words)
        return done(failure(400, R"(as {"type":TYPE,"fault":FAULT,"for":{"requests":N}} or {"clear":true})"));
    words->insert(words->end(), {"--socket", service_});
    run(*words, fault_list, std::move(done));
}

void Orvcd::send_event(const std::string &body, Done done)
{
    if (events_.empty())
        return done(failure(404, "this lab sends no events"));
    const std::optional<Json> json = read_json(body);
    std::optional<std::vector<std::string>> words = json ? event_words(*json) : std::nullopt;
    if (!words)
        return done(failure(400, R"(as {"name":EVENT,FIELD:VALUE...})"));
    words->insert(words->end(), {"--events", events_});
    run(
        *words,
        [](const std::string &) {
            return Answer{200, "application/json", "{}"};
        },
        std::move(done));
}
