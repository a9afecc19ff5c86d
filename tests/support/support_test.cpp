// The ground that the other tests' comparisons rest on.

#include <csignal>
#include <gtest/gtest.h>
#include <sstream>

#include "tests/support/blobmsg_bytes.h"
#include "tests/support/bytes.h"
#include "tests/support/process.h"

using namespace test_support;

namespace
{

std::string shown(const Bytes &bytes)
{
    std::ostringstream stream;
    stream << bytes;
    return stream.str();
}

TEST(Bytes, PutsValuesAtTheirOffsets)
{
    EXPECT_EQ(Bytes(12).text(1, "ab").u32(4, 0x01020304).data(), std::string("\0ab\0\4\3\2\1\0\0\0\0", 12));
    EXPECT_EQ(Bytes(8).u64(0, 0x0102030405060708).data(), "\x8\x7\x6\x5\x4\x3\x2\x1");
}

TEST(Bytes, RefusesWhatPassesTheEnd)
{
    EXPECT_THROW(Bytes(8).text(5, "four"), std::out_of_range);
    EXPECT_THROW(Bytes(8).text(9, ""), std::out_of_range);
    EXPECT_THROW(Bytes(8).u32(5, 0), std::out_of_range);
    EXPECT_THROW(Bytes(8).u64(1, 0), std::out_of_range);
}

TEST(Bytes, ShowsWhatIsNotZero)
{
    EXPECT_EQ(shown(Bytes(456).text(0, "http://host").u32(384, 12345678)),
              "456 bytes: @0 \"http://host\" @384 4e 61 bc");
}

TEST(BlobmsgBytes, WritesAValueWithItsHeaderAndPadding)
{
    EXPECT_EQ(value(Type::int32, "n", big_endian32(7)), std::string("\x85\0\0\x0C\0\1n\0\0\0\0\7", 12));
    EXPECT_EQ(value(Type::string, "", terminated("ab")), std::string("\x83\0\0\x0B\0\0\0\0ab\0\0", 12));
    EXPECT_EQ(value(Type::array, "list", value(Type::int8, "", "\1")),
              std::string("\x81\0\0\x18\0\4list\0\0\x87\0\0\x9\0\0\0\0\1\0\0\0", 24));
}

TEST(BlobmsgBytes, ShowsEveryType)
{
    EXPECT_EQ(to_text(from_json(R"({"n": null, "a": [1, "x"], "t": {"i": -1}, "l": 4294967296, "b": true, "c": false,
                                    "d": 0.5, "s": "\"\n"})")),
              R"({"n": null, "a": [1, "x"], "t": {"i": -1}, "l": 4294967296l, "b": true, "c": false, )"
              R"("d": 0.500000d, "s": "\"\x0A"})");
    EXPECT_EQ(to_text(value(Type::int16, "h", "\xFF\xFE") + value(Type::int8, "b", "\x80")),
              R"({"h": -2s, "b": -128b})");
}

TEST(BlobmsgBytes, ShowsWhatIsMalformed)
{
    EXPECT_EQ(to_text(value(Type::int32, "a", "xy") + value(Type::string, "b", "xy") + "rest"),
              R"({"a": <2 bytes>, "b": <unterminated>"xy", <4 stray bytes>})");
    EXPECT_EQ(to_text(value(Type::int32, "a", big_endian32(1)).substr(0, 8)), "{<8 stray bytes>}");
    EXPECT_EQ(to_text(value(Type::array, "a", value(Type::int32, "named", big_endian32(1)))), R"({"a": ["named": 1]})");
}

TEST(Process, TellsHowItEnded)
{
    Process shell({"sh", "-c", "echo out; echo err >&2; exit 7"});
    EXPECT_EQ(shell.wait(), 7);
    EXPECT_EQ(shell.standard_output(), "out\n");
    EXPECT_EQ(shell.standard_error(), "err\n");
    Process killed({"sleep", "60"});
    EXPECT_EQ(killed.wait(Milliseconds(10)), std::nullopt);
    killed.send_signal(SIGKILL);
    EXPECT_EQ(killed.wait(), 128 + SIGKILL);
    Process missing({"/nonexistent/program"});
    EXPECT_EQ(missing.wait(), 127);
    EXPECT_EQ(missing.standard_error(), "/nonexistent/program: No such file or directory\n");
}

TEST(Process, ChangesTheEnvironment)
{
    setenv("KEPT", "1", 1);
    setenv("TAKEN", "1", 1);
    Process shell({"sh", "-c", "echo $KEPT-$TAKEN-$SET"}, {{"TAKEN", {}}, {"SET", "2"}});
    EXPECT_EQ(shell.wait(), 0);
    EXPECT_EQ(shell.standard_output(), "1--2\n");
}

} // namespace
