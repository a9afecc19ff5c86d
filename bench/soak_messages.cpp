#include "bench/soak_messages.h"

#include <map>
#include <nlohmann/json.hpp>

#include "core/bus.h"
#include "tests/support/blobmsg_bytes.h"

using test_support::big_endian32;
using test_support::big_endian64;
using test_support::terminated;
using test_support::Type;
using test_support::value;

namespace
{

// For each argument's name the values that make sense, as a JSON array. Where one name stands for a number in one
// method and for a text in another, the type decides.
constexpr struct {
    const char *name;
    const char *values;
} kSensible[] = {
    {"2.4G", "[[], [1], [1, 2]]"},
    {"5G", "[[], [1], [1, 2]]"},
    {"abiaddr", R"(["http://abi.example/"])"},
    {"accessmode", "[0, 1, 2]"},
    {"accessrule", "[0, 1]"},
    {"action", "[0, 1]"},
    {"allowedipport", R"(["", "192.0.2.7:80,192.0.2.8:443"])"},
    {"aps", R"([[], [{"bssid": "00:00:5E:00:53:A0", "channel": 6}, {"bssid": "00:00:5E:00:53:A1", "channel": 36}]])"},
    {"auth", R"(["open", "share", "wpapsk", "wpa2psk", "wpapskwpa2psk"])"},
    {"backup", R"([[], ["http://one.example/", "http://two.example/"]])"},
    {"bandwidth", "[0, 1, 2, 3]"},
    {"band", "[0, 1]"},
    {"blocksize", "[56, 1400]"},
    {"brand", R"(["", "Maker"])"},
    {"bssaddr", R"(["http://bss.example/"])"},
    {"bssid", R"(["00:00:5E:00:53:A0"])"},
    {"channel", R"([1, 6, 36, 149, "11"])"},
    {"chksum", R"(["d41d8cd98f00b204e9800998ecf8427e"])"},
    {"devid", R"(["0000000000000001"])"},
    {"devname", R"(["phone", "Grandmother's tablet"])"},
    {"devtoken", R"(["token"])"},
    {"downurl", R"(["http://images.example/router.bin"])"},
    {"dsbandwidth", "[0, 1024, 100000]"},
    {"dscp", "[-1, 0, 46, 63]"},
    {"dstmac", R"(["001a2b3c4d5f", ""])"},
    {"duration", "[0, 60, 3600]"},
    {"elinksync", R"(["on", "off"])"},
    {"enable", R"(["yes", "no", "on", "off"])"},
    {"enable8021p", R"(["yes", "no"])"},
    {"enabledscp", R"(["yes", "no"])"},
    {"encrypt", R"(["none", "tkip", "aes", "aestkip"])"},
    {"ethport", "[[], [1], [1, 3]]"},
    {"filesize", "[1, 12345678]"},
    {"hide", "[0, 1]"},
    {"host", R"(["192.0.2.1", "host.example"])"},
    {"hostnames", R"([[], ["one.example"], ["one.example", "two.example", "three.example"]])"},
    {"idx", "[1, 2, 3, 4, 5, 6, 7, 8]"},
    {"iedata", "[[], [221, 3, 1, 2, 3], [0, 127, 255]]"},
    {"internetaccess", "[0, 1]"},
    {"isreboot", R"(["yes", "no"])"},
    {"key", R"(["", "a good long passphrase"])"},
    {"len", "[3, 5]"},
    {"mac", R"(["00:00:5E:00:53:32", "00005E005333", ""])"},
    {"macs", R"([[], ["00005E005332"], ["00:00:5E:00:53:32", "00005E005333"]])"},
    {"maxhop", "[1, 30]"},
    {"mode", R"([0, 1, 2, "controller", "agent"])"},
    {"model", R"(["", "Model 7"])"},
    {"name", R"(["", "a rule", "no games at night"])"},
    {"networktype", R"(["DHCP", "PPPOE", "STATIC"])"},
    {"num", "[1, 4]"},
    {"numoftries", "[1, 3]"},
    {"oui", "[[0, 0, 94], [0, 26, 255]]"},
    {"pppoename", R"(["user@isp.example"])"},
    {"pppoepwd", R"(["secret"])"},
    {"priority", "[0, 3, 7]"},
    {"protocol", R"(["tcp", "udp", "icmp"])"},
    {"reportinterval", "[1, 60]"},
    {"roaming", R"(["on", "off"])"},
    {"servicename", R"(["guests", "toys"])"},
    {"srcmac", R"(["00:1a:2b:3c:4d:5e", ""])"},
    {"ssid", R"(["Home", "Guests", "thirty-two characters of network"])"},
    {"ssididx", "[1, 2, 5]"},
    {"startrssi", "[-80, -60]"},
    {"starttime", "[0, 30]"},
    {"status", R"(["on", "off"])"},
    {"storageaccess", "[0, 1]"},
    {"thresholdrssi", "[-80, -60]"},
    {"time", R"(["07:30", "23:59"])"},
    {"timeout", "[1, 5000]"},
    {"timerange", R"(["", "08:00-12:00", "08:00-12:00,13:00-24:00"])"},
    {"txpower", R"(["25", "50", "100"])"},
    {"urls", R"([[], ["one.example"], ["one.example", "two.example", "three.example"]])"},
    {"usbandwidth", "[0, 1024, 100000]"},
    {"vlan8021p", "[-1, 0, 7]"},
    {"vlanid", "[0, 85, 4094]"},
    {"weekday", R"(["1", "7"])"},
    {"weekdays", "[[], [1, 2, 3, 4, 5], [6, 7]]"},
    {"wifiswitch", R"(["on", "off"])"},
    {"workmode", R"(["router", "bridge", "repeater"])"},
    {"wpsswitch", R"(["on", "off"])"},
};

uint32_t type_of(const std::string &bytes)
{
    return static_cast<unsigned char>(bytes[0]) & 0x7F;
}

// By name and type, the whole values as bytes.
using Values = std::map<std::pair<std::string, uint32_t>, std::vector<std::string>>;

Values sensible_values()
{
    Values values;
    for (const auto &[name, list] : kSensible) {
        for (const auto &json : nlohmann::ordered_json::parse(list)) {
            std::string bytes = test_support::from_json(nlohmann::ordered_json{{name, json}}.dump());
            values[{name, type_of(bytes)}].push_back(bytes);
        }
    }
    return values;
}

// A value of any type whose content means nothing to the method.
std::string odd_value(Random &random, const std::string &name, uint32_t type)
{
    constexpr uint64_t kNumbers[] = {0, 1, 0x7F, 0xFF, 0x7FFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, UINT64_MAX};
    constexpr size_t kLengths[] = {0, 1, 31, 32, 33, 64, 127, 128, 256, 1000, 5000, 60000};
    uint64_t number = kNumbers[below(random, std::size(kNumbers))];
    size_t length = kLengths[below(random, std::size(kLengths))];
    switch (static_cast<Type>(type)) {
    case Type::null:
        return value(Type::null, name, "");
    case Type::string:
        return value(Type::string, name, terminated(std::string(length, static_cast<char>(1 + below(random, 255)))));
    case Type::array:
    case Type::table: {
        std::string element = odd_value(random, "", static_cast<uint32_t>(Type::string) + below(random, 5));
        std::string elements;
        for (size_t count = std::min<size_t>(length, 60000 / element.size()); count > 0; count--)
            elements += element;
        return value(static_cast<Type>(type), name, elements);
    }
    case Type::int64:
    case Type::real:
        return value(static_cast<Type>(type), name, big_endian64(number));
    case Type::int32:
        return value(Type::int32, name, big_endian32(static_cast<uint32_t>(number)));
    case Type::int16:
        return value(Type::int16, name, big_endian32(static_cast<uint32_t>(number)).substr(2));
    case Type::int8:
        return value(Type::int8, name, big_endian32(static_cast<uint32_t>(number)).substr(3));
    }
    return "";
}

std::string nested_value(Random &random, const std::string &name)
{
    std::string inner = odd_value(random, "", static_cast<uint32_t>(Type::int32));
    for (size_t depth = 1 + below(random, 200); depth > 0; depth--)
        inner = value(below(random, 2) ? Type::array : Type::table, depth == 1 ? name : "", inner);
    return inner;
}

std::string sensible_value(Random &random, const SoakArgument &argument)
{
    static const Values values = sensible_values();
    auto found = values.find({argument.name, argument.type});
    if (found == values.end())
        return odd_value(random, argument.name, argument.type);
    return found->second[below(random, found->second.size())];
}

std::vector<std::string> sensible_values(Random &random, const SoakMethod &method)
{
    std::vector<std::string> values;
    for (const SoakArgument &argument : method.arguments)
        values.push_back(sensible_value(random, argument));
    return values;
}

std::string joined(const std::vector<std::string> &values)
{
    std::string message;
    for (const std::string &bytes : values)
        message += bytes;
    return message;
}

// Changes what is none of the agent's business: lengths, types, names.
void damage(Random &random, std::string &message)
{
    for (size_t changes = 1 + below(random, 6); changes > 0 && !message.empty(); changes--)
        message[below(random, message.size())] = static_cast<char>(below(random, 256));
    if (below(random, 2))
        message.resize(below(random, message.size() + 1));
}

uint32_t any_type(Random &random)
{
    return static_cast<uint32_t>(below(random, static_cast<size_t>(Type::real) + 1));
}

} // namespace

// Distributions of the standard library differ from one to the next.
size_t below(Random &random, size_t limit)
{
    return random() % limit;
}

std::string sensible_message(Random &random, const SoakMethod &method)
{
    return joined(sensible_values(random, method));
}

std::string make_message(Random &random, const SoakMethod &method)
{
    enum { MISSING, OTHER_TYPE, ODD, NESTED, UNKNOWN, TWICE, DAMAGED, ENORMOUS };
    std::vector<std::string> values = sensible_values(random, method);
    if (below(random, 2))
        return joined(values);
    if (values.empty())
        return odd_value(random, "unknown", any_type(random));
    size_t position = below(random, values.size());
    const SoakArgument &argument = method.arguments[position];
    switch (below(random, 64) == 0 ? size_t{ENORMOUS} : below(random, ENORMOUS)) {
    case MISSING:
        values.erase(values.begin() + static_cast<ptrdiff_t>(position));
        break;
    case OTHER_TYPE:
        values[position] = odd_value(random, argument.name, any_type(random));
        break;
    case ODD:
        values[position] = odd_value(random, argument.name, argument.type);
        break;
    case NESTED:
        values[position] = nested_value(random, argument.name);
        break;
    case UNKNOWN:
        values.insert(values.begin(), odd_value(random, std::string(1 + below(random, 300), 'n'), any_type(random)));
        break;
    case TWICE:
        values.push_back(odd_value(random, argument.name, argument.type));
        break;
    case ENORMOUS:
        values[position] = value(Type::string, argument.name, terminated(std::string(900000, 'h')));
        break;
    default: {
        std::string message = joined(values);
        damage(random, message);
        return message;
    }
    }
    return joined(values);
}
