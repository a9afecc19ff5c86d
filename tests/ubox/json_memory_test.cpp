#include <gtest/gtest.h>

#include "tests/ubox/failing_memory.h"
#include "tests/ubox/ubox.h"

namespace
{

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
