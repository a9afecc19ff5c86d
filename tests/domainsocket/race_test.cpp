// Events between two system calls of a request: this program puts itself before the C library's recv and sendmsg.

#include "domainsocket.h"
#include "fixture.h"

#include <sys/syscall.h>

namespace
{

thread_local int system_calls;
std::function<void()> after_look;

} // namespace

extern "C" ssize_t recv(int fd, void *buffer, size_t length, int flags)
{
    system_calls++;
    ssize_t result = syscall(SYS_recvfrom, fd, buffer, length, flags, nullptr, nullptr);
    int error = errno;
    if ((flags & MSG_PEEK) && after_look)
        after_look();
    errno = error;
    return result;
}

extern "C" ssize_t sendmsg(int fd, const msghdr *message, int flags)
{
    system_calls++;
    return syscall(SYS_sendmsg, fd, message, flags);
}

extern "C" ssize_t recvmsg(int fd, msghdr *message, int flags)
{
    system_calls++;
    return syscall(SYS_recvmsg, fd, message, flags);
}

extern "C" int poll(pollfd *entries, nfds_t count, int timeout)
{
    system_calls++;
    timespec time = {timeout / 1000, timeout % 1000 * 1000000};
    return static_cast<int>(syscall(SYS_ppoll, entries, count, timeout < 0 ? nullptr : &time, nullptr, 0));
}

namespace
{

struct SocketRace : testing::Test {
    TemporaryFolder folder;
    std::string path = folder.file("service");
    Service service{path};

    std::string ask()
    {
        void *body = SOCKET_SendMsgByType(path.c_str(), 20, 1, "abcd", 4, 4);
        std::string result = body ? std::string(static_cast<char *>(body), 4) : "null";
        free(body);
        return result;
    }
    // The service's side of one exchange; the connection stays open.
    void serve(int client, uint32_t code)
    {
        EXPECT_EQ(read_bytes(client, 20).size(), 20u);
        write_bytes(client, answer(20, word(code)));
    }
};

TEST_F(SocketRace, SendsOnceWhenServiceClosesAfterTheLook)
{
    int first = -1;
    service.run([&](Service &self) { serve(first = self.accept(), 1); });
    EXPECT_EQ(ask(), word(1));
    service.finish();
    service.run([&](Service &self) {
        int second = self.accept();
        serve(second, 2);
        EXPECT_FALSE(self.has_caller(100));
        close(second);
    });
    after_look = [&] { close(first); };
    EXPECT_EQ(ask(), word(2));
    after_look = nullptr;
}

TEST_F(SocketRace, TakesThreeSystemCallsOnAnOpenConnection)
{
    service.run([&](Service &self) {
        int client = self.accept();
        serve(client, 1);
        usleep(50000); // the second answer has to be waited for
        serve(client, 2);
        close(client);
    });
    EXPECT_EQ(ask(), word(1));
    system_calls = 0;
    EXPECT_EQ(ask(), word(2));
    EXPECT_EQ(system_calls, 3);
}

} // namespace
