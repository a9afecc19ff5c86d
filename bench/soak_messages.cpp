#include "bench/soak_messages.h"

#include <map>
#include <stdexcept>

#include "core/bus.h"
#include "tests/support/blobmsg_bytes.h"
#include "tests/support/description.h"

using test_support::big_endian32;
using test_support::big_endian64;
using test_support::Json;
using test_support::terminated;
using test_support::Type;
using test_support::value;

namespace
{

// Beside what the examples have: the numbers that entries get in a soak.
constexpr uint32_t kMostIndex = 8;

std::string bytes_of(const std::string &name, const Json &json)
{
    return test_support::from_json(Json{{name, json}}.dump());
}

uint32_t type_of(const std::string &bytes)
{
    return static_cast<unsigned char>(bytes[0]) & 0x7F;
}

SoakArgument soak_argument(const Json &method, const std::string &name)
{
    SoakArgument argument{name, 0, {}};
    for (const Json &value : test_support::sensible_values(method, name))
        argument.values.push_back(bytes_of(name, value));
    argument.type = type_of(argument.values[0]);
    for (uint32_t index = 1; name == "idx" && index <= kMostIndex; index++)
        argument.values.push_back(bytes_of(name, index));
    return argument;
}

SoakMethod soak_method(const std::string &name, const Json &described)
{
    SoakMethod method{"", 0, name, {}, test_support::may_be_silent(described)};
    const Json arguments = described.value("arguments", Json::object());
    for (const auto &[argument, value] : arguments.items())
        method.arguments.push_back(soak_argument(described, argument));
    return method;
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

std::vector<std::string> sensible_values(Random &random, const SoakMethod &method)
{
    std::vector<std::string> values;
    for (const SoakArgument &argument : method.arguments)
        values.push_back(argument.values[below(random, argument.values.size())]);
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

// The same object is asked for again and again.
std::vector<SoakMethod> soak_methods(const std::string &object, uint32_t id)
{
    static std::map<const test_support::DescribedObject *, std::vector<SoakMethod>> known;
    const test_support::DescribedObject *described = test_support::describe(object);
    if (!described)
        throw std::runtime_error(object + " is not described");
    auto [place, is_new] = known.try_emplace(described);
    if (is_new)
        for (const auto &[name, method] : described->methods().items())
            place->second.push_back(soak_method(name, method));
    std::vector<SoakMethod> methods = place->second;
    for (SoakMethod &method : methods) {
        method.object = object;
        method.id = id;
    }
    return methods;
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
