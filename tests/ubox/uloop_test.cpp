#include "tests/ubox/ubox.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/support/emulator.h"

namespace
{

using Clock = std::chrono::steady_clock;

int64_t milliseconds_since(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// A timer or a descriptor whose callback is a closure; it leaves the loop at its end.
struct Timer : uloop_timeout {
    explicit Timer(std::function<void()> action) : uloop_timeout{}, action(std::move(action))
    {
        cb = [](uloop_timeout *timeout) { static_cast<Timer *>(timeout)->action(); };
    }
    Timer(std::function<void()> action, int milliseconds) : Timer(std::move(action))
    {
        uloop_timeout_set(this, milliseconds);
    }
    Timer(const Timer &) = delete;
    ~Timer() { uloop_timeout_cancel(this); }

    std::function<void()> action;
};

struct Descriptor : uloop_fd {
    Descriptor(int fd, std::function<void(unsigned)> action) : uloop_fd{}, action(std::move(action))
    {
        this->fd = fd;
        cb = [](uloop_fd *u, unsigned events) { static_cast<Descriptor *>(u)->action(events); };
    }
    Descriptor(const Descriptor &) = delete;
    ~Descriptor() { uloop_fd_delete(this); }

    std::function<void(unsigned)> action;
};

struct Pair {
    Pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, end), 0); }
    Pair(const Pair &) = delete;
    ~Pair()
    {
        close_end(0);
        close_end(1);
    }
    void close_end(int which)
    {
        if (0 <= end[which])
            close(end[which]);
        end[which] = -1;
    }
    void send(int from, size_t length = 1)
    {
        std::string bytes(length, 'x');
        EXPECT_EQ(write(end[from], bytes.data(), length), static_cast<ssize_t>(length));
    }
    int end[2];
};

size_t drain(int fd)
{
    char bytes[256];
    ssize_t length = recv(fd, bytes, sizeof(bytes), MSG_DONTWAIT);
    return length < 0 ? 0 : static_cast<size_t>(length);
}

bool is_blocking(int fd)
{
    return (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0;
}

// Runs until something ends the loop. A wait that misses its end lasts until the timer, and the run ends late.
int prompt_run()
{
    constexpr int kLate = 10000;
    Timer limit([] { uloop_end(); }, kLate);
    Clock::time_point start = Clock::now();
    int result = uloop_run();
    EXPECT_LT(milliseconds_since(start), kLate / 2);
    return result;
}

class Uloop : public testing::Test
{
  protected:
    void SetUp() override
    {
        // A shell may have started the tests with some of them ignored.
        for (int number : {SIGINT, SIGTERM, SIGCHLD, SIGPIPE})
            signal(number, SIG_DFL);
        ASSERT_EQ(uloop_init(), 0);
    }
    void TearDown() override { uloop_done(); }
};

// -- Timers

TEST_F(Uloop, RunsTimersInTheOrderOfTheirTimes)
{
    std::vector<int> order;
    Timer third([&] { order.push_back(3), uloop_end(); }, 30 * kSlowness);
    Timer first([&] { order.push_back(1); }, 10 * kSlowness);
    Timer second([&] { order.push_back(2); }, 20 * kSlowness);
    Clock::time_point start = Clock::now();
    EXPECT_EQ(uloop_run(), 0);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
    EXPECT_GE(milliseconds_since(start), 29);
    EXPECT_FALSE(first.pending || second.pending || third.pending);
}

TEST_F(Uloop, RunsTimersOfOneTimeInTheOrderOfTheirArming)
{
    std::vector<int> order;
    Timer timers[] = {Timer([&] { order.push_back(0); }), Timer([&] { order.push_back(1); }),
                      Timer([&] { order.push_back(2); }), Timer([&] { order.push_back(3), uloop_end(); })};
    uloop_timeout_set(&timers[0], 0);
    timeval time = timers[0].time;
    for (Timer &timer : timers) {
        timer.time = time;
        uloop_timeout_add(&timer);
    }
    uloop_run();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
}

TEST_F(Uloop, TimerIsDueNeverBeforeItsTime)
{
    for (int milliseconds : {0, 1, 2, 7}) {
        Clock::time_point start = Clock::now();
        Clock::time_point end = start;
        Timer timer([&] { end = Clock::now(); }, milliseconds);
        while (timer.pending)
            uloop_run_timeout(0);
        // A timeval leaves out the fraction of the microsecond in which the timer was armed.
        EXPECT_GT(end - start, std::chrono::milliseconds(milliseconds) - std::chrono::microseconds(1));
    }
}

TEST_F(Uloop, TimerOfTheNegativeIsDueAtOnce)
{
    std::string order;
    Timer first([&] { order += '1'; }, 0);
    Timer second([&] { order += '2'; }, -1000);
    EXPECT_LE(uloop_timeout_remaining64(&second), 0);
    uloop_run_timeout(0);
    EXPECT_EQ(order, "12");
}

TEST_F(Uloop, TimerMayArmItselfAgain)
{
    int runs = 0;
    Timer timer([] {});
    timer.action = [&] {
        EXPECT_FALSE(timer.pending);
        if (++runs == 5)
            uloop_end();
        else
            uloop_timeout_set(&timer, 1);
    };
    uloop_timeout_set(&timer, 1);
    uloop_run();
    EXPECT_EQ(runs, 5);
    EXPECT_FALSE(timer.pending);
}

TEST_F(Uloop, TimerThatIsAlwaysDueStarvesNoDescriptor)
{
    Pair pair;
    pair.send(1);
    Timer timer([&] { uloop_timeout_set(&timer, 0); }, 0);
    Descriptor descriptor(pair.end[0], [&](unsigned) { uloop_end(); });
    uloop_fd_add(&descriptor, ULOOP_READ);
    EXPECT_EQ(uloop_run(), 0);
}

TEST_F(Uloop, SetArmsAnew)
{
    std::vector<int> order;
    Timer moved([&] { order.push_back(1), uloop_end(); }, 1);
    Timer other([&] { order.push_back(2); }, 5);
    EXPECT_EQ(uloop_timeout_set(&moved, 15), 0);
    uloop_run();
    EXPECT_EQ(order, (std::vector<int>{2, 1}));
}

TEST_F(Uloop, AddTakesTheTimeAsItIsAndRefusesAPendingTimer)
{
    Timer timer([] { uloop_end(); });
    timer.time = {};
    EXPECT_EQ(uloop_timeout_add(&timer), 0);
    EXPECT_TRUE(timer.pending);
    EXPECT_EQ(uloop_timeout_add(&timer), -1);
    EXPECT_EQ(uloop_run(), 0);
}

TEST_F(Uloop, CancelledTimerDoesNotRun)
{
    bool ran = false;
    Timer victim([&] { ran = true; }, 2 * kSlowness);
    Timer culprit([&] { EXPECT_EQ(uloop_timeout_cancel(&victim), 0); }, kSlowness);
    Timer end([] { uloop_end(); }, 10 * kSlowness);
    uloop_run();
    EXPECT_FALSE(ran);
    EXPECT_EQ(uloop_timeout_cancel(&victim), -1);
}

TEST_F(Uloop, TimerMayCancelAnotherThatIsDueWithIt)
{
    bool ran = false;
    Timer culprit([] {}, 0);
    Timer victim([&] { ran = true; }, 0);
    culprit.action = [&] { uloop_timeout_cancel(&victim); };
    Timer end([] { uloop_end(); }, 5);
    usleep(1000);
    uloop_run();
    EXPECT_FALSE(ran);
}

TEST_F(Uloop, RemainingTimeIsInMillisecondsRoundedDown)
{
    Timer timer([] {});
    EXPECT_EQ(uloop_timeout_remaining64(&timer), -1);
    EXPECT_EQ(uloop_timeout_remaining(&timer), -1);
    EXPECT_EQ(uloop_get_next_timeout(), -1);
    uloop_timeout_set(&timer, 5000);
    usleep(1500);
    EXPECT_LE(uloop_timeout_remaining64(&timer), 4998);
    EXPECT_GE(uloop_timeout_remaining64(&timer), 4000);
    EXPECT_LE(uloop_get_next_timeout(), 4998);
    EXPECT_GE(uloop_get_next_timeout(), 4000);
    uloop_timeout_set(&timer, INT32_MAX);
    EXPECT_GE(uloop_timeout_remaining64(&timer), INT32_MAX - 1000);
    uloop_timeout_set(&timer, 0);
    usleep(2000);
    EXPECT_LE(uloop_timeout_remaining64(&timer), -2);
    EXPECT_LE(uloop_timeout_remaining(&timer), -2);
    EXPECT_EQ(uloop_get_next_timeout(), 0);
}

TEST_F(Uloop, TimerOfTheFarFutureDoesNotKeepTheLoopBusy)
{
    Timer timer([] { FAIL(); });
    uloop_timeout_set(&timer, 296);
    uloop_timeout_cancel(&timer);
    timer.time.tv_sec += 4294967; // 2^32 milliseconds in all, of which an int keeps none
    uloop_timeout_add(&timer);
    Clock::time_point start = Clock::now();
    uloop_run_timeout(20);
    EXPECT_GE(milliseconds_since(start), 19);
}

// -- Descriptors

TEST_F(Uloop, TellsOfReadingAndWriting)
{
    Pair pair;
    std::vector<unsigned> seen;
    Descriptor descriptor(pair.end[0], [&](unsigned events) { seen.push_back(events), uloop_end(); });

    ASSERT_EQ(uloop_fd_add(&descriptor, ULOOP_WRITE), 0);
    uloop_run();
    ASSERT_EQ(uloop_fd_add(&descriptor, ULOOP_READ), 0);
    pair.send(1);
    uloop_run();
    ASSERT_EQ(uloop_fd_add(&descriptor, ULOOP_READ | ULOOP_WRITE), 0);
    uloop_run();
    EXPECT_EQ(seen, (std::vector<unsigned>{ULOOP_WRITE, ULOOP_READ, ULOOP_READ | ULOOP_WRITE}));
    EXPECT_EQ(descriptor.flags, ULOOP_READ | ULOOP_WRITE);
    EXPECT_FALSE(descriptor.eof || descriptor.error);
}

TEST_F(Uloop, AddMakesTheDescriptorNonBlockingUnlessToldNotTo)
{
    Pair pair;
    Descriptor descriptor(pair.end[0], [](unsigned) {});
    EXPECT_EQ(uloop_fd_add(&descriptor, ULOOP_READ | ULOOP_BLOCKING), 0);
    EXPECT_TRUE(descriptor.registered);
    EXPECT_TRUE(is_blocking(pair.end[0]));
    EXPECT_EQ(uloop_fd_add(&descriptor, ULOOP_READ), 0);
    EXPECT_FALSE(is_blocking(pair.end[0]));
}

TEST_F(Uloop, AddWithoutEventsTakesOut)
{
    Pair pair;
    Descriptor descriptor(pair.end[0], [](unsigned) { FAIL(); });
    EXPECT_EQ(uloop_fd_add(&descriptor, ULOOP_READ), 0);
    EXPECT_EQ(uloop_fd_add(&descriptor, ULOOP_BLOCKING), 0);
    EXPECT_FALSE(descriptor.registered);
    pair.send(1);
    uloop_run_timeout(1);
}

TEST_F(Uloop, AddFailsForWhatCannotBeWaitedFor)
{
    Descriptor closed(-1, [](unsigned) {});
    EXPECT_EQ(uloop_fd_add(&closed, ULOOP_READ), -1);
    EXPECT_EQ(uloop_fd_add(&closed, ULOOP_READ | ULOOP_BLOCKING), -1);
    EXPECT_FALSE(closed.registered);
    int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    Descriptor regular(file, [](unsigned) {});
    EXPECT_EQ(uloop_fd_add(&regular, ULOOP_READ), -1);
    EXPECT_FALSE(regular.registered);
    close(file);
}

TEST_F(Uloop, EdgeTriggerTellsOnce)
{
    Pair pair;
    int level_calls = 0;
    int edge_calls = 0;
    Pair other;
    Descriptor level(pair.end[0], [&](unsigned) { level_calls++; });
    Descriptor edge(other.end[0], [&](unsigned) { edge_calls++; });
    uloop_fd_add(&level, ULOOP_READ);
    uloop_fd_add(&edge, ULOOP_READ | ULOOP_EDGE_TRIGGER);
    pair.send(1);
    other.send(1);
    for (int turn = 0; turn < 3; turn++)
        uloop_run_timeout(0);
    EXPECT_EQ(level_calls, 3);
    EXPECT_EQ(edge_calls, 1);
    other.send(1);
    uloop_run_timeout(0);
    EXPECT_EQ(edge_calls, 2);
}

TEST_F(Uloop, ReadShutdownSetsEofAndKeepsTheDescriptor)
{
    Pair pair;
    int calls = 0;
    Descriptor descriptor(pair.end[0], [&](unsigned events) {
        calls++;
        EXPECT_EQ(events, static_cast<unsigned>(ULOOP_READ));
        EXPECT_TRUE(descriptor.eof);
        EXPECT_FALSE(descriptor.error);
        EXPECT_TRUE(descriptor.registered);
    });
    uloop_fd_add(&descriptor, ULOOP_READ);
    EXPECT_EQ(shutdown(pair.end[1], SHUT_WR), 0);
    uloop_run_timeout(0);
    EXPECT_EQ(calls, 1);
    uloop_fd_add(&descriptor, ULOOP_WRITE);
    EXPECT_FALSE(descriptor.eof) << "adding again starts afresh";
}

TEST_F(Uloop, HangUpTakesTheDescriptorOutBeforeItsCallback)
{
    Pair pair;
    int calls = 0;
    Descriptor descriptor(pair.end[0], [&](unsigned events) {
        calls++;
        EXPECT_EQ(events, static_cast<unsigned>(ULOOP_READ));
        EXPECT_TRUE(descriptor.eof);
        EXPECT_TRUE(descriptor.error);
        EXPECT_FALSE(descriptor.registered);
        EXPECT_EQ(drain(pair.end[0]), 3u) << "what came before can still be read";
    });
    uloop_fd_add(&descriptor, ULOOP_READ);
    pair.send(1, 3);
    pair.close_end(1);
    uloop_run_timeout(0);
    uloop_run_timeout(0);
    EXPECT_EQ(calls, 1);
}

TEST_F(Uloop, EndOfAPipeIsAHangUpToo)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    std::vector<unsigned> seen;
    Descriptor reader(ends[0], [&](unsigned events) { seen.push_back(events); });
    uloop_fd_add(&reader, ULOOP_READ);
    close(ends[1]);
    uloop_run_timeout(0);
    EXPECT_EQ(seen, std::vector<unsigned>{0});
    EXPECT_TRUE(reader.eof);
    EXPECT_TRUE(reader.error);
    EXPECT_FALSE(reader.registered);
    close(ends[0]);
}

TEST_F(Uloop, ErrorTakesTheDescriptorOutWithoutEof)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    int calls = 0;
    Descriptor writer(ends[1], [&](unsigned) { calls++; });
    uloop_fd_add(&writer, ULOOP_WRITE);
    close(ends[0]);
    uloop_run_timeout(0);
    uloop_run_timeout(0);
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(writer.eof);
    EXPECT_TRUE(writer.error);
    EXPECT_FALSE(writer.registered);
    close(ends[1]);
}

// More of them than one wait fetches; each callback deletes all others, and frees them.
TEST_F(Uloop, DeletedDescriptorIsNotCalledThoughItsEventIsFetched)
{
    constexpr size_t kCount = 40;
    std::vector<std::unique_ptr<Pair>> pairs;
    std::vector<std::unique_ptr<Descriptor>> descriptors;
    int calls = 0;
    for (size_t i = 0; i < kCount; i++) {
        pairs.push_back(std::make_unique<Pair>());
        descriptors.push_back(std::make_unique<Descriptor>(pairs[i]->end[0], [&, i](unsigned) {
            calls++;
            for (size_t other = 0; other < kCount; other++)
                if (other != i)
                    descriptors[other].reset();
            drain(pairs[i]->end[0]);
        }));
        uloop_fd_add(descriptors[i].get(), ULOOP_READ);
        pairs[i]->send(1);
    }
    for (int turn = 0; turn < 5; turn++)
        uloop_run_timeout(0);
    EXPECT_EQ(calls, 1);
}

TEST_F(Uloop, CallbackMayFreeItsOwnDescriptor)
{
    Pair pair;
    pair.send(1);
    int calls = 0;
    auto descriptor = std::make_unique<Descriptor>(pair.end[0], [](unsigned) {});
    std::function<void()> freeing = [&] {
        calls++;
        descriptor.reset();
    };
    descriptor->action = [&freeing](unsigned) {
        auto &action = freeing; // outlives the closure, which the next line frees
        action();
    };
    uloop_fd_add(descriptor.get(), ULOOP_READ);
    uloop_run_timeout(0);
    uloop_run_timeout(0);
    EXPECT_EQ(calls, 1);
}

TEST_F(Uloop, TimerMayDeleteADescriptorThatIsReady)
{
    Pair pair;
    pair.send(1);
    Descriptor descriptor(pair.end[0], [](unsigned) { FAIL(); });
    uloop_fd_add(&descriptor, ULOOP_READ);
    Timer timer([&] { EXPECT_EQ(uloop_fd_delete(&descriptor), 0); }, 0);
    uloop_run_timeout(0);
    EXPECT_FALSE(timer.pending);
    EXPECT_EQ(uloop_fd_delete(&descriptor), 0) << "once more does nothing";
}

TEST_F(Uloop, EventsThatAreNoLongerWantedAreNotTold)
{
    Pair pairs[2];
    std::vector<unsigned> seen;
    std::unique_ptr<Descriptor> descriptors[2];
    for (int i = 0; i < 2; i++) {
        descriptors[i] = std::make_unique<Descriptor>(pairs[i].end[0], [&, i](unsigned events) {
            seen.push_back(events);
            uloop_fd_add(descriptors[1 - i].get(), ULOOP_READ);
        });
        uloop_fd_add(descriptors[i].get(), ULOOP_WRITE);
    }
    uloop_run_timeout(0);
    EXPECT_EQ(seen, std::vector<unsigned>{ULOOP_WRITE});
}

TEST_F(Uloop, EventsLeftWhenARunEndsComeWithTheNext)
{
    Pair pairs[3];
    std::vector<std::unique_ptr<Descriptor>> descriptors;
    int calls = 0;
    for (Pair &pair : pairs) {
        descriptors.push_back(std::make_unique<Descriptor>(pair.end[0], [&](unsigned) { calls++, uloop_end(); }));
        uloop_fd_add(descriptors.back().get(), ULOOP_READ | ULOOP_EDGE_TRIGGER);
        pair.send(1);
    }
    for (int run = 1; run <= 3; run++) {
        uloop_run();
        EXPECT_EQ(calls, run);
    }
}

TEST_F(Uloop, DueTimersRunBeforeDescriptorsAreWaitedFor)
{
    Pair pair;
    pair.send(1);
    std::string order;
    Descriptor descriptor(pair.end[0], [&](unsigned) { order += 'd'; });
    uloop_fd_add(&descriptor, ULOOP_READ);
    Timer timer([&] { order += 't'; }, 0);
    uloop_run_timeout(0);
    EXPECT_EQ(order, "td");
}

TEST_F(Uloop, ManyDescriptorsAreAllServed)
{
    std::vector<std::unique_ptr<Pair>> pairs;
    std::vector<std::unique_ptr<Descriptor>> descriptors;
    std::vector<int> calls(100);
    for (size_t i = 0; i < calls.size(); i++) {
        pairs.push_back(std::make_unique<Pair>());
        descriptors.push_back(std::make_unique<Descriptor>(pairs[i]->end[0], [&, i](unsigned) {
            calls[i]++;
            drain(pairs[i]->end[0]);
        }));
        uloop_fd_add(descriptors[i].get(), ULOOP_READ);
        pairs[i]->send(1);
    }
    for (int turn = 0; turn < 20; turn++)
        uloop_run_timeout(0);
    EXPECT_EQ(calls, std::vector<int>(100, 1));
}

// -- Runs

TEST_F(Uloop, EndFromBeforeARunIsLost)
{
    uloop_end();
    EXPECT_TRUE(uloop_cancelled);
    EXPECT_FALSE(uloop_cancelling()) << "nothing runs";
    bool ran = false;
    Timer timer([&] { ran = true, uloop_end(); }, 1);
    EXPECT_EQ(uloop_run(), 0);
    EXPECT_TRUE(ran);
}

TEST_F(Uloop, CancellingTellsThatARunIsAboutToEnd)
{
    Timer timer([] {
        EXPECT_FALSE(uloop_cancelling());
        uloop_end();
        EXPECT_TRUE(uloop_cancelling());
    });
    uloop_timeout_set(&timer, 0);
    uloop_run();
    EXPECT_TRUE(uloop_cancelled);
    EXPECT_FALSE(uloop_cancelling());
}

TEST_F(Uloop, EndStopsAtOnce)
{
    bool ran = false;
    Timer first([] { uloop_end(); }, 0);
    Timer second([&] { ran = true; }, 0);
    usleep(1000);
    uloop_run();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(second.pending);
}

TEST_F(Uloop, TimeoutMakesItOneTurn)
{
    Clock::time_point start = Clock::now();
    EXPECT_EQ(uloop_run_timeout(20), 0);
    EXPECT_GE(milliseconds_since(start), 19);
    EXPECT_FALSE(uloop_cancelled);

    Timer timer([] { FAIL() << "due only after the wait"; }, 10 * kSlowness);
    start = Clock::now();
    uloop_run_timeout(5000);
    EXPECT_LT(milliseconds_since(start), 2500);
    EXPECT_GE(milliseconds_since(start), 9);
}

TEST_F(Uloop, OneTurnAfterAnEndWaitsAllTheSame)
{
    Timer timer([] { uloop_end(); }, 0);
    uloop_run();
    Clock::time_point start = Clock::now();
    uloop_run_timeout(20);
    EXPECT_GE(milliseconds_since(start), 19);
}

TEST_F(Uloop, InnerRunEndsTheOuterOneToo)
{
    int inner_result = -1;
    bool ran_after = false;
    Timer last([&] { ran_after = true, uloop_end(); }, 5000);
    Timer inner_end([] { uloop_end(); });
    Timer outer([&] {
        uloop_timeout_set(&inner_end, 1);
        inner_result = uloop_run();
        EXPECT_TRUE(uloop_cancelling());
    });
    uloop_timeout_set(&outer, 0);
    EXPECT_EQ(uloop_run(), 0);
    EXPECT_EQ(inner_result, 0);
    EXPECT_FALSE(ran_after);
}

TEST_F(Uloop, EndFromAnotherThreadWakesTheWait)
{
    std::thread thread([] {
        usleep(20000);
        uloop_end();
    });
    EXPECT_EQ(prompt_run(), 0);
    thread.join();
}

// The end comes at every moment around the beginning of the wait, by another thread and by a signal handler.
class WakeUp : public Uloop, public testing::WithParamInterface<bool>
{
};

TEST_P(WakeUp, IsNotLostBetweenTheCheckAndTheWait)
{
    const bool by_signal = GetParam();
    const pthread_t loop = pthread_self();
    std::atomic<int> round = 0;
    std::atomic<bool> stop = false;
    std::thread thread([&] {
        for (int seen = 0; !stop;) {
            if (int now = round; now != seen) {
                seen = now;
                for (std::atomic<int> spin = seen % 100; spin > 0; spin--) {
                }
                by_signal ? static_cast<void>(pthread_kill(loop, SIGTERM)) : uloop_end();
            }
        }
    });
    for (int i = 0; i < 3000 && !HasFailure(); i++) {
        Timer start([&] { round++; }, 0);
        EXPECT_EQ(prompt_run(), by_signal ? SIGTERM : 0);
    }
    stop = true;
    thread.join();
}

INSTANTIATE_TEST_SUITE_P(Uloop, WakeUp, testing::Bool(),
                         [](const auto &info) { return info.param ? "BySignal" : "ByThread"; });

// -- Signals and the end

TEST_F(Uloop, ReturnsTheSignalThatEndedIt)
{
    for (int number : {SIGINT, SIGTERM}) {
        Timer timer([&] { raise(number); }, 0);
        EXPECT_EQ(uloop_run(), number);
        Timer end([] { uloop_end(); }, 0);
        EXPECT_EQ(uloop_run(), 0) << "the signal belongs to the run before";
    }
}

TEST_F(Uloop, SignalFromAnotherThreadWakesTheWait)
{
    // Blocked here, so that only the other thread can take it.
    sigset_t set, before;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    std::thread thread([] {
        usleep(20000);
        pthread_kill(pthread_self(), SIGTERM);
    });
    pthread_sigmask(SIG_BLOCK, &set, &before);
    EXPECT_EQ(prompt_run(), SIGTERM);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    thread.join();
}

TEST_F(Uloop, EndOfAChildDisturbsNothingAndIsLeftToItsParent)
{
    pid_t child = -1;
    Timer fork_child([&] {
        child = fork();
        if (child == 0)
            _exit(7);
    });
    uloop_timeout_set(&fork_child, 0);
    Timer end([] { uloop_end(); }, 50);
    EXPECT_EQ(uloop_run(), 0);
    EXPECT_FALSE(end.pending);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

// -- Processes, intervals, signals

struct Process : uloop_process {
    Process(int status, std::function<void(int)> action) : uloop_process{}, action(std::move(action))
    {
        cb = [](uloop_process *process, int status) { static_cast<Process *>(process)->action(status); };
        pid = fork();
        if (pid == 0)
            _exit(status);
    }
    Process(const Process &) = delete;
    ~Process() { uloop_process_delete(this); }

    std::function<void(int)> action;
};

TEST_F(Uloop, TellsOfTheEndOfAProcess)
{
    std::vector<int> ended;
    auto note_end = [&ended](const uloop_process &process, int status) {
        EXPECT_FALSE(process.pending);
        ended.push_back(WEXITSTATUS(status));
        if (ended.size() == 2)
            uloop_end();
    };
    Process first(3, [&](int status) { note_end(first, status); });
    Process second(5, [&](int status) { note_end(second, status); });
    EXPECT_EQ(uloop_process_add(&first), 0);
    EXPECT_EQ(uloop_process_add(&first), -1);
    EXPECT_EQ(uloop_process_add(&second), 0);
    prompt_run();
    std::sort(ended.begin(), ended.end());
    EXPECT_EQ(ended, (std::vector<int>{3, 5}));
    EXPECT_EQ(uloop_process_delete(&first), -1);
}

TEST_F(Uloop, TellsOfAProcessThatHadEndedBefore)
{
    Process process(3, [](int) { uloop_end(); });
    siginfo_t ended;
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(process.pid), &ended, WEXITED | WNOWAIT), 0);
    uloop_process_add(&process);
    prompt_run();
    EXPECT_FALSE(process.pending);
}

TEST_F(Uloop, DoneForgetsProcesses)
{
    Process process(0, [](int) { FAIL(); });
    uloop_process_add(&process);
    uloop_done();
    EXPECT_FALSE(process.pending);
    EXPECT_EQ(waitpid(process.pid, nullptr, 0), process.pid);
}

TEST_F(Uloop, IntervalComesAgainAndCountsWhatItMissed)
{
    static int runs;
    uloop_interval interval = {.cb = [](uloop_interval *timer) {
        usleep(runs++ == 0 ? 35000 : 0);
        if (timer->expirations >= 6)
            uloop_end();
    }};
    runs = 0;
    EXPECT_EQ(uloop_interval_remaining(&interval), -1);
    EXPECT_EQ(uloop_interval_cancel(&interval), -1);
    EXPECT_EQ(uloop_interval_set(&interval, 100000), 0);
    EXPECT_GT(uloop_interval_remaining(&interval), 90000);
    EXPECT_EQ(uloop_interval_set(&interval, 10), 0);
    EXPECT_LE(uloop_interval_remaining(&interval), 10);
    const Clock::time_point start = Clock::now();
    prompt_run();
    EXPECT_GE(milliseconds_since(start), 58);
    EXPECT_LT(runs, 6);
    EXPECT_EQ(uloop_interval_cancel(&interval), 0);
    EXPECT_EQ(uloop_interval_remaining(&interval), -1);
}

TEST_F(Uloop, RunsTheCallbackOfASignal)
{
    static bool ran;
    uloop_signal caught = {.cb = [](uloop_signal *) { ran = true; }, .signo = SIGTERM};
    struct sigaction before, after;
    ran = false;
    sigaction(SIGTERM, nullptr, &before);
    EXPECT_EQ(uloop_signal_delete(&caught), -1);
    EXPECT_EQ(uloop_signal_add(&caught), 0);
    EXPECT_EQ(uloop_signal_add(&caught), -1);
    Timer raiser([] { raise(SIGTERM); }, 0);
    Timer end([] { uloop_end(); }, 30);
    EXPECT_EQ(uloop_run(), 0) << "it does not end the loop";
    EXPECT_TRUE(ran);
    EXPECT_EQ(uloop_signal_delete(&caught), 0);
    sigaction(SIGTERM, nullptr, &after);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST_F(Uloop, SignalWakesTheWait)
{
    uloop_signal caught = {.cb = [](uloop_signal *) { uloop_end(); }, .signo = SIGUSR1};
    uloop_signal_add(&caught);
    const pthread_t loop = pthread_self();
    std::thread thread([=] {
        usleep(20000);
        pthread_kill(loop, SIGUSR1);
    });
    prompt_run();
    thread.join();
    uloop_signal_delete(&caught);
}

TEST_F(Uloop, LeavesSigchldAloneWhenToldTo)
{
    uloop_done();
    uloop_handle_sigchld = false;
    uloop_init();
    struct sigaction action;
    sigaction(SIGCHLD, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    uloop_handle_sigchld = true;
}

TEST_F(Uloop, TellsOfEveryChangeOfFlags)
{
    static std::vector<unsigned> changes;
    changes.clear();
    Pair pair;
    Descriptor descriptor(pair.end[0], [](unsigned) {});
    uloop_fd_set_cb = [](uloop_fd *, unsigned flags) { changes.push_back(flags); };
    uloop_fd_add(&descriptor, ULOOP_READ);
    uloop_fd_add(&descriptor, ULOOP_READ);
    uloop_fd_add(&descriptor, ULOOP_READ | ULOOP_WRITE);
    uloop_fd_delete(&descriptor);
    uloop_fd_set_cb = nullptr;
    EXPECT_EQ(changes, (std::vector<unsigned>{ULOOP_READ, ULOOP_READ | ULOOP_WRITE, 0}));
}

TEST_F(Uloop, ErrorLeavesADescriptorThatAsksForIt)
{
    Pair pair;
    Descriptor descriptor(pair.end[0], [](unsigned) { uloop_end(); });
    uloop_fd_add(&descriptor, ULOOP_READ | ULOOP_ERROR_CB);
    pair.close_end(1);
    prompt_run();
    EXPECT_TRUE(descriptor.error);
    EXPECT_TRUE(descriptor.registered);
}

TEST_F(Uloop, WritingToAClosedSocketRaisesNoSignal)
{
    Pair pair;
    pair.close_end(1);
    EXPECT_EQ(write(pair.end[0], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
}

void own_handler(int) {}

using Handlers = std::vector<void (*)(int)>;

Handlers current_handlers()
{
    Handlers handlers;
    for (int number : {SIGINT, SIGTERM, SIGCHLD, SIGPIPE}) {
        struct sigaction action;
        sigaction(number, nullptr, &action);
        handlers.push_back(action.sa_handler);
    }
    return handlers;
}

TEST_F(Uloop, DoneRestoresTheDefaults)
{
    Handlers installed = current_handlers();
    for (auto *handler : installed)
        EXPECT_NE(handler, SIG_DFL);
    EXPECT_EQ(installed[3], SIG_IGN);
    uloop_done();
    EXPECT_EQ(current_handlers(), Handlers(4, SIG_DFL));
    EXPECT_EQ(uloop_init(), 0);
    EXPECT_EQ(current_handlers(), installed);
}

TEST_F(Uloop, KeepsHandlersThatWereThereFirst)
{
    uloop_done();
    signal(SIGINT, SIG_IGN);
    signal(SIGTERM, own_handler);
    signal(SIGCHLD, own_handler);
    signal(SIGPIPE, own_handler);
    const Handlers own = {SIG_IGN, own_handler, own_handler, own_handler};
    EXPECT_EQ(uloop_init(), 0);
    EXPECT_EQ(current_handlers(), own);
    uloop_done();
    EXPECT_EQ(current_handlers(), own);
}

TEST_F(Uloop, KeepsAHandlerThatTookThePlaceOfItsOwn)
{
    signal(SIGTERM, own_handler);
    uloop_done();
    EXPECT_EQ(current_handlers(), (Handlers{SIG_DFL, own_handler, SIG_DFL, SIG_DFL}));
}

TEST_F(Uloop, HandlerOfTheProgramMayEndTheLoop)
{
    uloop_done();
    signal(SIGTERM, [](int) { uloop_end(); });
    uloop_init();
    const pthread_t loop = pthread_self();
    std::thread thread([loop] {
        usleep(10000);
        pthread_kill(loop, SIGTERM);
    });
    EXPECT_EQ(prompt_run(), 0) << "the signal is the program's";
    thread.join();
}

size_t open_descriptors()
{
    namespace fs = std::filesystem;
    return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

TEST_F(Uloop, InitAgainChangesNothing)
{
    size_t before = open_descriptors();
    Handlers handlers = current_handlers();
    EXPECT_EQ(uloop_init(), 0);
    EXPECT_EQ(uloop_init(), 0);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(current_handlers(), handlers);
}

TEST_F(Uloop, DoneClosesItsDescriptorsAndDisarmsTimers)
{
    Timer timer([] { FAIL(); }, 0);
    size_t with_loop = open_descriptors();
    uloop_done();
    EXPECT_EQ(open_descriptors(), with_loop - 3); // what waits, what times, what wakes
    EXPECT_FALSE(timer.pending);
    EXPECT_EQ(uloop_timeout_cancel(&timer), -1);
    uloop_done();
}

TEST_F(Uloop, DescriptorsOfTheLoopAreClosedOnExec)
{
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        std::string target = std::filesystem::read_symlink(entry, error);
        if (target.starts_with("anon_inode:")) {
            int fd = std::stoi(entry.path().filename());
            EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC) << target;
        }
    }
}

TEST_F(Uloop, WithoutInitNothingIsAddedAndARunEndsAtOnce)
{
    uloop_done();
    Pair pair;
    Descriptor descriptor(pair.end[0], [](unsigned) {});
    EXPECT_EQ(uloop_fd_add(&descriptor, ULOOP_READ), -1);
    EXPECT_FALSE(descriptor.registered);
    EXPECT_EQ(uloop_run(), 0);
    uloop_end();
}

TEST_F(Uloop, DoneInACallbackEndsTheRun)
{
    Pair pairs[2];
    int calls = 0;
    std::vector<std::unique_ptr<Descriptor>> descriptors;
    for (Pair &pair : pairs) {
        pair.send(1);
        descriptors.push_back(std::make_unique<Descriptor>(pair.end[0], [&](unsigned) { calls++, uloop_done(); }));
        uloop_fd_add(descriptors.back().get(), ULOOP_READ);
    }
    EXPECT_EQ(uloop_run(), 0);
    EXPECT_EQ(calls, 1);
}

TEST_F(Uloop, DescriptorOfAnEarlierLoopMayBeAddedToTheNext)
{
    Pair pair;
    pair.send(1);
    bool called = false;
    Descriptor descriptor(pair.end[0], [&](unsigned) { called = true; });
    uloop_fd_add(&descriptor, ULOOP_READ);
    uloop_done();
    uloop_init();
    EXPECT_EQ(uloop_fd_add(&descriptor, ULOOP_READ), 0);
    uloop_run_timeout(0);
    EXPECT_TRUE(called);
}

} // namespace
