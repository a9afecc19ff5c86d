// Every allocation of the libraries fails once: nothing may be lost, and what is left must be whole.

#include "tests/ubox/ubox.h"

#include <cstdlib>
#include <gtest/gtest.h>

extern "C" void *__libc_realloc(void *, size_t);
extern "C" void *__libc_calloc(size_t, size_t);

namespace
{

constexpr int kNever = -1;
int allocations_left = kNever; // before the one that fails; all after it fail too

bool fails()
{
    return allocations_left != kNever && (allocations_left == 0 || allocations_left-- == 0);
}

} // namespace

// The libraries' calls come here as well: the program's own symbols go first.
extern "C" void *realloc(void *memory, size_t size)
{
    return fails() ? nullptr : __libc_realloc(memory, size);
}

extern "C" void *calloc(size_t count, size_t size)
{
    return fails() ? nullptr : __libc_calloc(count, size);
}

namespace
{

// Runs `action` with the first allocation failing, then the second, until it succeeds; how often it failed.
template <typename Action> int failures_of(Action action)
{
    for (int allowed = 0; allowed < 1000; allowed++) {
        allocations_left = allowed;
        bool succeeded = action();
        allocations_left = kNever;
        if (succeeded) {
            return allowed;
        }
    }
    return -1;
}

TEST(Memory, BufferSurvivesEveryFailedGrowth)
{
    int failures = failures_of([] {
        blob_buf buffer = {};
        uint32_t added = 0;
        bool succeeded = blob_buf_init(&buffer, 0) == 0;
        void *cookie = blobmsg_open_table(&buffer, "table");
        while (added < 1000 && blobmsg_add_u32(&buffer, "n", added) == 0) {
            added++;
        }
        blobmsg_close_table(&buffer, cookie);
        blob_attr *head = static_cast<blob_attr *>(buffer.buf);
        EXPECT_EQ(buffer.head, head);
        if (head) {
            size_t table = cookie ? 12 : 0;
            EXPECT_EQ(blob_raw_len(head), 4 + table + 12 * added);
        }
        succeeded = succeeded && cookie && added == 1000;
        blob_buf_free(&buffer);
        return succeeded;
    });
    EXPECT_EQ(failures, 7); // 256 bytes, doubled up to 16384
}

TEST(Memory, DuplicateFailsWithoutMemory)
{
    Buffer buffer;
    blob_attr *copy = nullptr;
    EXPECT_EQ(failures_of([&] { return (copy = blob_memdup(buffer->head)) != nullptr; }), 1);
    free(copy);
}

TEST(Memory, JsonTextFailsWithoutMemory)
{
    Buffer buffer;
    for (int i = 0; i < 100; i++) {
        void *table = blobmsg_open_table(&buffer, "table");
        blobmsg_add_string(&buffer, "text", "a text of some length");
        blobmsg_close_table(&buffer, table);
    }
    char *text = nullptr;
    EXPECT_GT(failures_of([&] { return (text = blobmsg_format_json_indent(buffer->head, true, 0)) != nullptr; }), 3);
    EXPECT_EQ(text[strlen(text) - 1], '}');
    free(text);
}

} // namespace
