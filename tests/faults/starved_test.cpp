#include "tests/faults/starved_test.h"

#include <fcntl.h>
#include <set>
#include <sys/mman.h>

using namespace test_support;

MemoryControl *map_control(const std::filesystem::path &path)
{
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void *shared = MAP_FAILED;
    if (ftruncate(fd, sizeof(MemoryControl)) == 0)
        shared = mmap(nullptr, sizeof(MemoryControl), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (shared == MAP_FAILED)
        throw std::runtime_error(path);
    return static_cast<MemoryControl *>(shared);
}

// Every word of an answer is 1 in the full world, where each list has one entry, of the number 1, and 0 in the empty
// one.
static Answer answer_in(World world, const Request &request)
{
    static const std::set<uint32_t> add_types = {101, 208, 213};
    Bytes body(std::max<size_t>(request.expected, 4));
    for (size_t offset = 4; offset + 4 <= body.size() && world == World::full; offset += 4)
        body.u32(offset, offset == 4 && add_types.contains(request.type) ? 2 : 1);
    return test_support::body(body);
}

StarvedTest::StarvedTest() : memory_(map_control(folder() / kMemoryControlFile))
{
    for (uint32_t type = 0; type < 248; type++)
        service().answer_by(type, [this](const Request &request) { return answer(request); });
}

StarvedTest::~StarvedTest()
{
    munmap(memory_, sizeof(MemoryControl));
}

void StarvedTest::launch()
{
    launch_daemon({}, built_program("wexond-starved"));
}

void StarvedTest::start()
{
    launch();
    wait_until_up();
}

Answer StarvedTest::answer(const Request &request)
{
    uint32_t number = ++requests_;
    return first_unanswered_ <= number && number <= last_unanswered_ ? no_answer() : answer_in(world_, request);
}

void StarvedTest::leave_unanswered(uint32_t first, uint32_t last)
{
    requests_ = 0;
    first_unanswered_ = first;
    last_unanswered_ = last;
}

std::string StarvedTest::make(const Call &call)
{
    world_ = call.world;
    std::string reply = DaemonTest::call(call.object, call.method, std::string_view(call.arguments));
    // Channels are scanned after the answer of their scores, and objects may be withdrawn after that of their own call.
    if (std::string_view(call.method) == "channelscore")
        wait_for_handler();
    memory_->armed = 0;
    if (call.world == World::empty)
        wait_for_handler();
    world_ = World::full;
    return reply;
}

// A message that arrives while a handler waits for the broker is kept for a moment, and the second call is behind that.
void StarvedTest::wait_for_handler()
{
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(DaemonTest::call("wexond", "?"), "(Method not found)");
}

int64_t StarvedTest::blocks()
{
    wait_for_handler();
    return memory_->blocks;
}
