// wexond-soak: every method of every object of the daemon, again and again, with all kinds of arguments, while events
// flow: what does it hold afterwards that it did not hold before?
//
// A round is always the same calls in the same order, from the same state to the same state: the service started anew,
// its lists read. What a round needs the first ones have found, so at the ends of later ones the daemon must hold the
// same to the block and the byte of its heap. Every round also makes the daemon find a service that was gone.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>

#include "bench/lab.h"
#include "bench/soak_events.h"
#include "bench/soak_heap.h"
#include "bench/soak_holdings.h"
#include "bench/soak_messages.h"
#include "tests/support/blobmsg_bytes.h"

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kAnswerLimit = 20000;  // ms; the service may take 10 s
constexpr int kPasses = 30;          // over all methods, in a round
constexpr size_t kLeastReadings = 5; // warm ones
constexpr milliseconds kLook{500};   // two drains
constexpr int kMostLooks = 40;
constexpr seconds kWaitingSenders{40}; // 15 s, and what a busy machine adds
constexpr seconds kOvertime{120};      // for so many readings
constexpr int kSendersAtOnce = 8;
// By how much anonymous memory may differ with an unchanged heap: where the allocator puts the largest messages, of
// 900 KB, differs from time to time, and it keeps the pages. A page left behind by each call of one method is more.
constexpr long kScatter = 512; // KiB

struct Options {
    unsigned seconds = 60;
    unsigned seed = 1;
};

// Where an answer's text says why it is none, that is a failure.
struct Reply {
    bool came = false;
    std::string reason;
};

void read_reply(ubus_request *request, int, blob_attr *message)
{
    enum { REASON, COUNT };
    static constexpr blobmsg_policy kPolicy[] = {{.name = "failreason", .type = BLOBMSG_TYPE_STRING}};
    auto *reply = static_cast<Reply *>(request->priv);
    blob_attr *found[COUNT];
    reply->came = true;
    blobmsg_parse(kPolicy, COUNT, found, blob_data(message), static_cast<unsigned>(blob_len(message)));
    if (found[REASON])
        reply->reason = blobmsg_get_string(found[REASON]);
}

// The reason without what the caller wrote.
std::string kind_of(const std::string &reason)
{
    static const std::string kUnrecognized = "unrecognized parameter";
    return reason.starts_with(kUnrecognized) ? kUnrecognized : reason;
}

struct Tally {
    size_t calls = 0, successes = 0, silent = 0, notifications = 0;
    std::map<std::string, size_t> failures, bus_errors, unanswered;
};

size_t notifications;

int count_notification(ubus_context *, ubus_object *, ubus_request_data *, const char *, blob_attr *)
{
    notifications++;
    return 0;
}

void add_methods(ubus_context *, ubus_object_data *object, void *methods)
{
    for (SoakMethod &method : soak_methods(object->path, object->id))
        static_cast<std::vector<SoakMethod> *>(methods)->push_back(std::move(method));
}

// A file with the count of the daemon's heap.
class SharedHeapCount
{
  public:
    explicit SharedHeapCount(const std::string &path)
    {
        int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        void *shared = ftruncate(fd, sizeof(HeapCount)) == 0
                           ? mmap(nullptr, sizeof(HeapCount), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0)
                           : MAP_FAILED;
        close(fd);
        if (shared == MAP_FAILED)
            throw std::runtime_error("no memory to share with the daemon");
        count_ = static_cast<HeapCount *>(shared);
    }
    ~SharedHeapCount() { munmap(count_, sizeof(HeapCount)); }
    SharedHeapCount(const SharedHeapCount &) = delete;
    SharedHeapCount &operator=(const SharedHeapCount &) = delete;
    const HeapCount *operator->() const { return count_; }

  private:
    HeapCount *count_;
};

class Soak
{
  public:
    explicit Soak(unsigned seed)
        : seed_(seed), heap_(lab_.path("heap")),
          daemon_(lab_.start_daemon({{"LD_PRELOAD", SOAK_HEAP}, {kHeapCountVariable, lab_.path("heap")}})),
          events_(lab_.path("events.sock"))
    {
        call(method("wexond.ledswitch", "get"), ""); // returns when start-up is over
        subscriber_.cb = count_notification;
        ubus_register_subscriber(lab_.client(), &subscriber_);
        for (const std::string &object : objects())
            ubus_subscribe(lab_.client(), &subscriber_, lab_.wait_for(object));
        std::this_thread::sleep_for(seconds(1)); // until the event socket is there
        start_ = holdings();
    }
    ~Soak() { ubus_unregister_subscriber(lab_.client(), &subscriber_); }

    void run(seconds time);
    // Whether all is as it should be.
    bool report();

  private:
    std::vector<SoakMethod> methods() const
    {
        std::vector<SoakMethod> methods;
        ubus_lookup(lab_.client(), "wexond*", add_methods, &methods);
        return methods;
    }
    std::set<std::string> objects() const
    {
        std::set<std::string> names;
        for (const SoakMethod &method : methods())
            names.insert(method.object);
        return names;
    }
    SoakMethod method(const std::string &object, const std::string &name) const
    {
        return {object, lab_.wait_for(object), name};
    }
    Holdings holdings() const
    {
        Holdings holdings = holdings_of(daemon_.pid());
        holdings.blocks = heap_->blocks;
        holdings.bytes = heap_->bytes;
        return holdings;
    }
    bool nobody_waits() const { return holdings().threads == start_.threads; }
    bool can_go_on() { return tally_.unanswered.empty() && daemon_.is_running(); }

    void call(const SoakMethod &method, const std::string &values);
    void call_all(Random &random);
    void defer_sends();
    void wait_for_senders();
    void to_equal_state();
    void round();
    void take_reading();
    size_t first_warm() const;
    bool report_growth(const char *what, const char *unit, long Holdings::*field, const std::vector<Holdings> &readings,
                       long allowed = 0) const;
    void report_calls() const;
    bool report_growths() const;
    bool ends_well();

    unsigned seed_;
    Lab lab_;
    SharedHeapCount heap_;
    test_support::Process daemon_;
    EventStream events_;
    ubus_subscriber subscriber_{};
    Holdings start_;
    std::vector<long> senders_; // that waited at once, each time
    std::vector<Holdings> readings_, broker_readings_;
    std::vector<std::set<std::string>> objects_;
    Tally tally_;
    Clock::duration busy_{0}; // in rounds
    size_t rounds_ = 0;
};

void Soak::call(const SoakMethod &method, const std::string &values)
{
    Reply reply;
    std::string message = test_support::big_endian32(static_cast<uint32_t>(sizeof(blob_attr) + values.size())) + values;
    int status = ubus_invoke(lab_.client(), method.id, method.name.c_str(),
                             reinterpret_cast<blob_attr *>(message.data()), read_reply, &reply, kAnswerLimit);
    tally_.calls++;
    std::string name = method.object + ' ' + method.name;
    if (status == UBUS_STATUS_TIMEOUT || status == UBUS_STATUS_NO_DATA || status == UBUS_STATUS_CONNECTION_FAILED)
        tally_.unanswered[name + ": " + ubus_strerror(status)]++;
    else if (status)
        tally_.bus_errors[ubus_strerror(status)]++;
    else if (reply.came && reply.reason.empty())
        tally_.successes++;
    else if (reply.came)
        tally_.failures[kind_of(reply.reason)]++;
    else if (method.may_be_silent)
        tally_.silent++;
    else
        tally_.unanswered[name + ": no reply"]++;
    if (tally_.calls % 16 == 0)
        uloop_run_timeout(0); // for the notifications
}

// One pass, over the objects that are there now. An access point of 2.4 GHz is never switched off here: each time would
// start a sender of its own that waits for 15 seconds (see defer_sends).
void Soak::call_all(Random &random)
{
    static const std::string kOn =
        test_support::value(test_support::Type::string, "enable", test_support::terminated("yes"));
    std::vector<SoakMethod> all = methods();
    for (const SoakMethod &method : all) {
        bool could_defer = method.object.starts_with("wexond.wifi.1.ap.") && method.name == "set";
        call(method, (could_defer ? kOn : "") + make_message(random, method));
    }
    if (all.empty())
        return; // it is gone
    all[0].name = "nothing";
    call(all[0], make_message(random, all[0]));
    all[0].id = 1023; // none is so low
    call(all[0], "");
}

// Switches access points off: as many senders wait at once, and must be gone 15 seconds later.
void Soak::defer_sends()
{
    const std::string off = test_support::value(test_support::Type::string, "enable", test_support::terminated("no"));
    Random random(seed_);
    auto waiting = [this] { return holdings().threads - start_.threads; };
    for (int tries = 0; tries < kSendersAtOnce && can_go_on(); tries++)
        for (const SoakMethod &method : methods())
            if (method.object.starts_with("wexond.wifi.1.ap.") && method.name == "set" && waiting() < kSendersAtOnce)
                call(method, off + sensible_message(random, method));
    senders_.push_back(waiting());
}

void Soak::wait_for_senders()
{
    auto end = Clock::now() + kWaitingSenders;
    while (!nobody_waits() && Clock::now() < end)
        uloop_run_timeout(100);
}

// The home of the beginning, and in each list of the daemon what is in it.
void Soak::to_equal_state()
{
    lab_.restart_service();
    for (const SoakMethod &method : methods())
        if (method.name == "list")
            call(method, "");
}

void Soak::round()
{
    auto start = Clock::now();
    Random random(seed_);
    events_.resume();
    for (int pass = 0; pass < kPasses && can_go_on(); pass++)
        call_all(random);
    events_.pause();
    busy_ += Clock::now() - start;
    if (can_go_on())
        to_equal_state();
}

// When the heap has come to rest: events may still be on their way.
void Soak::take_reading()
{
    Holdings before, now = holdings();
    int looks = 0;
    do {
        before = now;
        for (auto end = Clock::now() + kLook; Clock::now() < end;)
            uloop_run_timeout(10);
        now = holdings();
    } while ((now.blocks != before.blocks || now.bytes != before.bytes) && ++looks < kMostLooks);
    readings_.push_back(now);
    broker_readings_.push_back(holdings_of(lab_.broker_pid()));
    objects_.push_back(objects());
}

// Of the readings: behind the first third, and when the senders of the beginning are gone.
size_t Soak::first_warm() const
{
    auto first = readings_.begin() + static_cast<ptrdiff_t>(readings_.size() / 3);
    auto warm = std::find_if(first, readings_.end(),
                             [this](const Holdings &reading) { return reading.threads == start_.threads; });
    return static_cast<size_t>(warm - readings_.begin());
}

void Soak::run(seconds time)
{
    auto end = Clock::now() + time;
    defer_sends();
    auto is_enough = [&] {
        return Clock::now() >= end &&
               (readings_.size() - first_warm() >= kLeastReadings || Clock::now() >= end + kOvertime);
    };
    while (can_go_on() && !is_enough()) {
        round();
        rounds_++;
        if (can_go_on())
            take_reading();
    }
    if (can_go_on())
        defer_sends();
    wait_for_senders();
    if (can_go_on()) {
        to_equal_state();
        take_reading();
    }
}

size_t sum_of(const std::map<std::string, size_t> &counts)
{
    size_t sum = 0;
    for (const auto &[name, count] : counts)
        sum += count;
    return sum;
}

// The most frequent first.
void print_counts(const std::map<std::string, size_t> &counts, size_t most)
{
    std::vector<std::pair<size_t, std::string>> rows;
    for (const auto &[name, count] : counts)
        rows.emplace_back(count, name);
    std::sort(rows.rbegin(), rows.rend());
    for (size_t i = 0; i < std::min(most, rows.size()); i++)
        printf("    %-38.60s%8zu\n", rows[i].second.c_str(), rows[i].first);
    if (rows.size() > most)
        printf("    and %zu kinds more\n", rows.size() - most);
}

bool Soak::report_growth(const char *what, const char *unit, long Holdings::*field,
                         const std::vector<Holdings> &readings, long allowed) const
{
    long then = readings[first_warm()].*field, now = readings.back().*field;
    printf("%-32s%10ld to %7ld %-4s growth %ld\n", what, then, now, unit, now - then);
    return now - then <= allowed;
}

// Without a bus the daemon ends, with status 0 and nothing to say.
bool Soak::ends_well()
{
    lab_.stop_broker();
    std::optional<int> status = daemon_.wait();
    std::string words = daemon_.standard_error();
    if (status == 0 && words.empty())
        return true;
    printf("the daemon ended with status %d: %s\n", status.value_or(-1), words.c_str());
    return false;
}

void Soak::report_calls() const
{
    double time = std::chrono::duration<double>(busy_).count();
    printf("rounds                          %10zu\n", rounds_);
    printf("calls                           %10zu, %.0f a second\n", tally_.calls, double(tally_.calls) / time);
    printf("  successes                     %10zu\n", tally_.successes);
    printf("  failures, by reason           %10zu\n", sum_of(tally_.failures));
    print_counts(tally_.failures, 12);
    printf("  errors of the bus             %10zu\n", sum_of(tally_.bus_errors));
    print_counts(tally_.bus_errors, 12);
    printf("  silent, as they should be     %10zu\n", tally_.silent);
    printf("  unanswered                    %10zu\n", sum_of(tally_.unanswered));
    print_counts(tally_.unanswered, 12);
    printf("events                          %10zu in %zu batches, %zu of these malformed, %zu not taken\n",
           events_.events(), events_.batches(), events_.malformed(), events_.refused());
    printf("notifications                   %10zu\n", notifications);
}

bool Soak::report_growths() const
{
    const auto &objects_then = objects_[first_warm()], &objects_now = objects_.back();
    bool good = objects_then == objects_now;
    good &= report_growth("heap, blocks", "", &Holdings::blocks, readings_);
    good &= report_growth("heap, bytes", "", &Holdings::bytes, readings_);
    good &= report_growth("anonymous memory", "KiB", &Holdings::anonymous, readings_, kScatter);
    good &= report_growth("descriptors", "", &Holdings::descriptors, readings_);
    good &= report_growth("threads", "", &Holdings::threads, readings_);
    printf("%-32s%10zu to %7zu\n", "objects of the bus", objects_then.size(), objects_now.size());
    good &= report_growth("the broker's anonymous memory", "KiB", &Holdings::anonymous, broker_readings_, kScatter);
    good &= report_growth("the broker's descriptors", "", &Holdings::descriptors, broker_readings_);
    return good;
}

bool Soak::report()
{
    report_calls();
    if (!can_go_on()) {
        printf("the daemon is %s\n", daemon_.is_running() ? "there, and does not answer" : "dead");
        return false;
    }
    if (readings_.size() - first_warm() < kLeastReadings) {
        puts("too few rounds to tell, or senders that do not end");
        return false;
    }
    bool good = report_growths();
    for (long senders : senders_) {
        printf("senders that waited at once     %10ld of %d\n", senders, kSendersAtOnce);
        good &= senders == kSendersAtOnce;
    }
    good &= notifications > 0 && events_.events() > 0;
    return ends_well() && good;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    CLI::App app("Calls all methods of the daemon, with all kinds of arguments, while events flow. Ends with status 0 "
                 "where every call was answered and nothing grew.");
    app.add_option("--seconds", options.seconds, "How long, at least")->capture_default_str();
    app.add_option("--seed", options.seed, "Of the arguments; the same makes the same calls")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    setvbuf(stdout, nullptr, _IOLBF, 0);

    Soak soak(options.seed);
    soak.run(seconds(options.seconds));
    bool good = soak.report();
    puts(good ? "every call was answered, and nothing grew" : "FAILED");
    return good ? 0 : 1;
}
