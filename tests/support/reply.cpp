#include "tests/support/reply.h"

#include "tests/support/blobmsg_bytes.h"

namespace test_support
{

ReplyValue::ReplyValue(std::string_view text) : text_(text_in_quotes(text)) {}

ReplyFields operator+(ReplyFields first, const ReplyFields &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

ReplyText table(const ReplyFields &fields)
{
    std::string text;
    for (const ReplyField &field : fields)
        text += (text.empty() ? "" : ", ") + text_in_quotes(field.key) + ": " + field.value.text();
    return {"{" + text + "}"};
}

ReplyText array(const std::vector<ReplyValue> &elements)
{
    std::string text;
    for (const ReplyValue &element : elements)
        text += (text.empty() ? "" : ", ") + element.text();
    return {"[" + text + "]"};
}

std::string notification(std::string_view name, const ReplyFields &fields)
{
    return std::string(name) + " " + table(fields);
}

} // namespace test_support
