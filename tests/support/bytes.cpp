#include "tests/support/bytes.h"

#include <algorithm>
#include <cctype>
#include <iomanip>
#include <stdexcept>

namespace test_support
{

Bytes &Bytes::text(size_t offset, std::string_view text)
{
    if (offset > data_.size() || text.size() > data_.size() - offset)
        throw std::out_of_range("text at " + std::to_string(offset) + " passes the record's end");
    data_.replace(offset, text.size(), text);
    return *this;
}

Bytes &Bytes::u32(size_t offset, uint32_t value)
{
    std::string word;
    for (int shift = 0; shift < 32; shift += 8)
        word.push_back(static_cast<char>(value >> shift));
    return text(offset, word);
}

Bytes &Bytes::u64(size_t offset, uint64_t value)
{
    return u32(offset, static_cast<uint32_t>(value)).u32(offset + 4, static_cast<uint32_t>(value >> 32));
}

static void print_run(std::ostream &stream, const std::string &run)
{
    auto printable = [](unsigned char byte) { return std::isprint(byte); };
    if (run.size() > 1 && std::all_of(run.begin(), run.end(), printable)) {
        stream << " \"" << run << '"';
        return;
    }
    stream << std::hex << std::setfill('0');
    for (unsigned char byte : run)
        stream << ' ' << std::setw(2) << int{byte};
    stream << std::dec;
}

std::ostream &operator<<(std::ostream &stream, const Bytes &bytes)
{
    const std::string &data = bytes.data();
    stream << data.size() << " bytes:";
    for (size_t start = 0; (start = data.find_first_not_of('\0', start)) != std::string::npos;) {
        size_t end = std::min(data.find('\0', start), data.size());
        stream << " @" << start;
        print_run(stream, data.substr(start, end - start));
        start = end;
    }
    return stream;
}

} // namespace test_support
