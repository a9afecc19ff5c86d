// Every allocation of the library fails once: nothing may be lost, and what is left must be whole.

#include <gtest/gtest.h>

#include "tests/ubox/failing_memory.h"
#include "tests/ubox/ubox.h"

namespace
{

TEST(Memory, BufferSurvivesEveryFailedGrowth)
{
    int failures = failures_of([] {
        blob_buf buffer = {};
        uint32_t added = 0;
        bool succeeded = blob_buf_init(&buffer, 0) == 0;
        void *cookie = blobmsg_open_table(&buffer, "table");
        while (added < 1000 && blobmsg_add_u32(&buffer, "n", added) == 0)
            added++;
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

} // namespace
