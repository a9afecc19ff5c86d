// Wire types byte by byte: integers, texts, counts of lists.
#include "core/wire.h"

#include <climits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace
{

template <typename Record> std::string bytes_of(const Record &record)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    return {reinterpret_cast<const char *>(&record), sizeof(record)};
}

// Fills a text field to its full width.
template <size_t N> void fill(char (&field)[N], char letter)
{
    memset(field, letter, N);
}

// --- Integers ---

TEST(LittleEndian, PutsTheLeastSignificantByteFirst)
{
    EXPECT_EQ(bytes_of(le16(0x0102)), "\x02\x01"s);
    EXPECT_EQ(bytes_of(le32(0x01020304)), "\x04\x03\x02\x01"s);
    EXPECT_EQ(bytes_of(le64(0x0102030405060708)), "\x08\x07\x06\x05\x04\x03\x02\x01"s);
    EXPECT_EQ(bytes_of(sle32(-2)), "\xFE\xFF\xFF\xFF"s);
}

TEST(LittleEndian, PutsTheLowWordOfACounterFirst)
{
    struct Counter {
        le32 low;
        le32 high;
    } counter;
    le64 value = 0x1122334455667788;
    memcpy(&counter, &value, sizeof(counter));
    EXPECT_EQ(counter.low, 0x55667788u);
    EXPECT_EQ(counter.high, 0x11223344u);
}

template <typename Wire, typename Integer> void expect_kept(std::initializer_list<Integer> values)
{
    for (Integer value : values)
        EXPECT_EQ(static_cast<Integer>(Wire(value)), value);
}

TEST(LittleEndian, KeepsEveryValue)
{
    expect_kept<le16, uint16_t>({0, 1, 0x7F, 0x80, 0xFF, 0x100, 0x8000, 0xFFFF});
    expect_kept<le32, uint32_t>({0, 1, 0x80, 0xFF00, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF});
    expect_kept<le64, uint64_t>({0, 1, 0x80000000, 0xFFFFFFFF, 0x100000000, 0x8000000000000000, UINT64_MAX});
    expect_kept<sle32, int32_t>({0, 1, -1, INT_MIN, INT_MAX, -128});
}

TEST(LittleEndian, ReadsAtAnyAddress)
{
    struct Unaligned {
        char before;
        le64 value;
        char between;
        le16 last;
    };
    static_assert(sizeof(Unaligned) == 12 && alignof(Unaligned) == 1);
    const char bytes[] = "?\x08\x07\x06\x05\x04\x03\x02\x01?\xFE\xCA";
    Unaligned record;
    memcpy(&record, bytes, sizeof(record));
    EXPECT_EQ(record.value, 0x0102030405060708u);
    EXPECT_EQ(record.last, 0xCAFE);
}

TEST(LittleEndian, IsZeroWhenValueInitialised)
{
    struct Record {
        le16 half;
        sle32 word;
        le64 counter;
        char text[3];
    };
    alignas(Record) unsigned char memory[sizeof(Record)];
    memset(memory, 0xEE, sizeof(memory));
    auto *record = new (memory) Record{};
    EXPECT_EQ(bytes_of(*record), std::string(17, '\0'));
}

// --- Texts ---

// A field between two neighbours that nothing may touch.
struct Guarded {
    char before[4];
    char field[8];
    char after[4];
};

Guarded guarded()
{
    Guarded guarded;
    memset(&guarded, '#', sizeof(guarded));
    return guarded;
}

std::string copied(const char *text)
{
    Guarded record = guarded();
    copy_text(record.field, text);
    return bytes_of(record);
}

std::string copied(const char *text, size_t limit)
{
    Guarded record = guarded();
    copy_text(record.field, text, limit);
    return bytes_of(record);
}

TEST(CopyText, ZeroesTheRestOfTheField)
{
    EXPECT_EQ(copied(""), "####\0\0\0\0\0\0\0\0####"s);
    EXPECT_EQ(copied("abc"), "####abc\0\0\0\0\0####"s);
}

TEST(CopyText, FillsTheFieldToItsLastByte)
{
    EXPECT_EQ(copied("abcdefg"), "####abcdefg\0####"s);
    EXPECT_EQ(copied("abcdefgh"), "####abcdefgh####"s);
    EXPECT_EQ(copied("abcdefghi"), "####abcdefgh####"s);
}

TEST(CopyText, StopsAtTheLimit)
{
    EXPECT_EQ(copied("abcdefghi", 7), "####abcdefg\0####"s);
    EXPECT_EQ(copied("abcdefghi", 3), "####abc\0\0\0\0\0####"s);
    EXPECT_EQ(copied("abcdefghi", 0), "####\0\0\0\0\0\0\0\0####"s);
}

TEST(CopyText, NeverPassesTheFieldWhateverTheLimit)
{
    EXPECT_EQ(copied("abcdefghijkl", 9), "####abcdefgh####"s);
    EXPECT_EQ(copied("abcdefghijkl", SIZE_MAX), "####abcdefgh####"s);
}

TEST(CopyText, ReadsNoFurtherThanTheLimit)
{
    // No NUL behind the text: an address sanitizer sees every byte read too far.
    std::string heap(8, 'x');
    auto text = std::make_unique<char[]>(8);
    memcpy(text.get(), heap.data(), 8);
    EXPECT_EQ(copied(text.get()), "####xxxxxxxx####"s);
}

std::string read(const std::string &field)
{
    Guarded record = guarded();
    memcpy(record.field, field.data(), sizeof(record.field));
    return read_text(record.field).data;
}

TEST(ReadText, EndsAtTheNulOrTheFullWidth)
{
    EXPECT_EQ(read("\0bcdefgh"s), "");
    EXPECT_EQ(read("abc\0efgh"s), "abc");
    EXPECT_EQ(read("abcdefg\0"s), "abcdefg");
    EXPECT_EQ(read("abcdefgh"s), "abcdefgh");
}

TEST(ReadText, LeavesRoomForTheLongerFormOfAnAddress)
{
    char narrow[12];
    char wide[20];
    static_assert(sizeof(read_text(narrow).data) == 18);
    static_assert(sizeof(read_text(wide).data) == 21);
    fill(narrow, 'a');
    EXPECT_STREQ(read_text(narrow).data, "aaaaaaaaaaaa");
}

// --- Counts ---

TEST(EntryCount, IsCutAtWhatTheRecordHolds)
{
    struct {
        le32 count;
        le64 entries[32];
    } list{};
    const uint32_t rows[][2] = {{0, 0}, {1, 1}, {31, 31}, {32, 32}, {33, 32}, {0x80000000, 32}, {0xFFFFFFFF, 32}};
    for (auto [count, expected] : rows) {
        list.count = count;
        EXPECT_EQ(entry_count(list), expected) << count;
    }
}

} // namespace
