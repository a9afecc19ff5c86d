// Expected replies and notifications as lists of key and value, in the order in which they are sent:
//
//     EXPECT_EQ(call("wexond.wifi.timer", "list"),
//               table({{"wexond.wifi.timer", array({table({{"idx", 1}, {"time", "07:30"}})})}}));
//
// They become the line that BusClient::call makes of a message, so that its comparison is of keys, order, types and
// values: a text stands for a STRING, a number of 32 bits for an INT32, one of 64 bits for an INT64.
#pragma once

#include <concepts>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace test_support
{

// A table or an array.
struct ReplyText : std::string {
};

inline void PrintTo(const ReplyText &text, std::ostream *stream)
{
    *stream << '"' << text.c_str() << '"'; // not as a list of letters
}

class ReplyValue
{
  public:
    ReplyValue(const char *text) : ReplyValue(std::string_view(text)) {}
    ReplyValue(const std::string &text) : ReplyValue(std::string_view(text)) {}
    ReplyValue(std::string_view text); // its bytes; those outside the printable ASCII are shown as \x0A
    ReplyValue(const ReplyText &container) : text_(container) {}
    template <std::integral Number>
    requires(sizeof(Number) >= sizeof(int32_t)) ReplyValue(Number number)
        : text_(sizeof(number) == sizeof(int32_t) ? std::to_string(static_cast<int32_t>(number))
                                                  : std::to_string(static_cast<int64_t>(number)) + "l")
    {
    }

    const std::string &text() const { return text_; }

  private:
    std::string text_;
};

struct ReplyField {
    std::string_view key;
    ReplyValue value;
};

using ReplyFields = std::vector<ReplyField>;

// These fields, then those.
ReplyFields operator+(ReplyFields first, const ReplyFields &second);

ReplyText table(const ReplyFields &fields);
ReplyText array(const std::vector<ReplyValue> &elements);

// As BusClient::next_message gives it: `newdevice {"mac": "001A2B3C4D5E"}`.
std::string notification(std::string_view name, const ReplyFields &fields);

} // namespace test_support
