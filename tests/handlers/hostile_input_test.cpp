// Messages that no agent should send, to every method.

#include <map>
#include <random>
#include <regex>
#include <sstream>

#include "tests/support/daemon_test.h"
#include "tests/support/description.h"

using namespace test_support;

namespace
{

struct Argument {
    std::string name;
    Type type;
    std::string payload;

    std::string bytes() const { return value(type, name, payload); }
};

const std::string kTexts = value(Type::string, "", terminated("one")) + value(Type::string, "", terminated("two"));

// A value of each type.
std::vector<Argument> values_of_every_type(const std::string &name)
{
    return {{name, Type::null, ""},
            {name, Type::array, kTexts},
            {name, Type::table, value(Type::int32, "inner", big_endian32(1))},
            {name, Type::string, terminated("text")},
            {name, Type::int64, big_endian64(5)},
            {name, Type::int32, big_endian32(5)},
            {name, Type::int16, std::string("\0\5", 2)},
            {name, Type::int8, "\1"},
            {name, Type::real, big_endian64(0x3FF0000000000000)}};
}

struct Method {
    std::string object, name;
    std::vector<Argument> arguments = {};

    // The message with every argument, and the one without one of them.
    std::string message() const { return message_without(arguments.size()); }
    std::string message_without(size_t left_out) const
    {
        std::string bytes;
        for (size_t i = 0; i < arguments.size(); i++)
            if (i != left_out)
                bytes += arguments[i].bytes();
        return bytes;
    }
};

std::ostream &operator<<(std::ostream &stream, const Method &method)
{
    return stream << method.object << ' ' << method.name;
}

Type type_of(const Json &argument)
{
    static const std::map<std::string, Type> types = {
        {"ARRAY", Type::array}, {"STRING", Type::string}, {"INT32", Type::int32}};
    return types.at(argument.value("x-sent", argument["x-bus"]));
}

// Those of the objects that are there, as they are described.
std::vector<Method> methods_in(const std::string &listing)
{
    std::vector<Method> methods;
    std::istringstream lines(listing);
    for (std::string path; std::getline(lines, path);) {
        if (path.starts_with(' '))
            continue;
        for (const auto &[name, described] : describe(path)->methods().items()) {
            Method &method = methods.emplace_back(Method{path, name});
            const Json arguments = described.value("arguments", Json::object());
            for (const auto &[argument, value] : arguments.items())
                method.arguments.push_back(values_of_every_type(argument)[size_t(type_of(value))]);
        }
    }
    return methods;
}

// A call's reply and its requests to the service.
struct Outcome {
    std::string reply;
    Requests requests;

    bool operator==(const Outcome &) const = default;
};

void PrintTo(const Outcome &outcome, std::ostream *stream)
{
    *stream << outcome.reply << testing::PrintToString(outcome.requests);
}

class HostileInputTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        HandlerTest::SetUp();
        service().answer_all(code(0));
        methods_ = methods_in(client().list("wexond*"));
        ASSERT_FALSE(methods_.empty());
    }

    // An entry that an `add` made is deleted again, so that the next one finds the same state. The scan that the daemon
    // asks for by itself a minute after its start may fall into any call; only methods that begin with `channels` ask
    // for one, and `channelscore` after its answer.
    Outcome outcome_of(const Method &method, const std::string &message)
    {
        std::string reply = call(method.object, method.name, RawMessage{message});
        Outcome outcome = {reply, service().wait_for_requests(method.name == "channelscore" ? 2 : 0)};
        constexpr uint32_t kScan = 60;
        if (!method.name.starts_with("channels"))
            std::erase_if(outcome.requests, [](const Request &request) { return request.type == kScan; });
        static const std::regex index(R"("idx": (-?\d+))");
        if (std::smatch match; method.name == "add" && std::regex_search(reply, match, index))
            call(method.object, "delete", R"({"idx": )" + match.str(1) + "}");
        service().take_requests();
        return outcome;
    }

    std::vector<Method> methods_;

    size_t descriptors()
    {
        auto folder = std::filesystem::directory_iterator("/proc/" + std::to_string(daemon().pid()) + "/fd");
        return static_cast<size_t>(std::distance(begin(folder), end(folder)));
    }
};

TEST_F(HostileInputTest, ArgumentsOfAnotherTypeCountAsAbsent)
{
    for (const Method &method : methods_)
        for (size_t i = 0; i < method.arguments.size(); i++)
            for (const Argument &other : values_of_every_type(method.arguments[i].name)) {
                if (other.type == method.arguments[i].type)
                    continue;
                SCOPED_TRACE(testing::Message() << method << ' ' << other.name << ' ' << int(other.type));
                EXPECT_EQ(outcome_of(method, method.message_without(i) + other.bytes()),
                          outcome_of(method, method.message_without(i)));
            }
}

TEST_F(HostileInputTest, UnknownArgumentsAreIgnored)
{
    for (const Method &method : methods_)
        for (const std::string &name : {std::string("nobody"), std::string(5000, 'n')})
            for (const Argument &unknown : values_of_every_type(name)) {
                SCOPED_TRACE(testing::Message() << method << ' ' << int(unknown.type));
                EXPECT_EQ(outcome_of(method, unknown.bytes() + method.message() + unknown.bytes()),
                          outcome_of(method, method.message()));
            }
}

TEST_F(HostileInputTest, OfTwoArgumentsOfOneNameTheFirstOfTheRightTypeCounts)
{
    for (const Method &method : methods_)
        for (const Argument &argument : method.arguments)
            for (const Argument &second : values_of_every_type(argument.name)) {
                SCOPED_TRACE(testing::Message() << method << ' ' << argument.name << ' ' << int(second.type));
                EXPECT_EQ(outcome_of(method, method.message() + second.bytes()), outcome_of(method, method.message()));
                if (second.type == argument.type)
                    continue;
                EXPECT_EQ(outcome_of(method, second.bytes() + method.message()), outcome_of(method, method.message()));
            }
}

TEST_F(HostileInputTest, ArgumentsMayComeInAnyOrder)
{
    for (const Method &method : methods_) {
        SCOPED_TRACE(testing::Message() << method);
        std::string reversed;
        for (const Argument &argument : method.arguments)
            reversed = argument.bytes() + reversed;
        EXPECT_EQ(outcome_of(method, reversed), outcome_of(method, method.message()));
    }
}

TEST_F(HostileInputTest, OfAMessageThatEndsEarlyTheWholeArgumentsCount)
{
    for (const Method &method : methods_) {
        std::string message = method.message(), whole;
        auto next = method.arguments.begin();
        for (size_t length = 0; length < message.size(); length += 4) {
            SCOPED_TRACE(testing::Message() << method << " cut at " << length);
            if (length == whole.size() + next->bytes().size())
                whole += next++->bytes();
            EXPECT_EQ(outcome_of(method, message.substr(0, length)), outcome_of(method, whole));
        }
    }
}

TEST_F(HostileInputTest, EveryCallIsAnsweredWhateverItsBytes)
{
    std::mt19937 random(20240229);
    auto below = [&random](size_t limit) { return random() % limit; };
    for (int round = 0; round < 4000; round++) {
        const Method &method = methods_[below(methods_.size())];
        std::string message = method.message() + kTexts + value(Type::int32, "", big_endian32(3));
        for (size_t changes = 1 + below(6); changes > 0; changes--)
            message[below(message.size())] = static_cast<char>(below(2) ? below(256) : 0x80 + below(9));
        message.resize(message.size() - below(2) * below(message.size()));
        SCOPED_TRACE(testing::Message() << "round " << round << ": " << method);
        std::string reply = outcome_of(method, message).reply;
        if (describe(method.object)->methods()[method.name]["reply"].is_null()) {
            ASSERT_EQ(reply, "(no reply)");
            continue;
        }
        ASSERT_EQ(reply.substr(0, 2), "{\"") << reply;
        ASSERT_EQ(reply.find("stray"), std::string::npos) << reply;
        ASSERT_EQ(reply.find('\n'), std::string::npos) << "more than one reply: " << reply;
    }
}

TEST_F(HostileInputTest, ThousandsOfCallsLeaveNoDescriptorBehind)
{
    auto call_all = [this](int times) {
        for (const Method &method : methods_)
            for (int i = 0; i < times; i++)
                outcome_of(method, method.message());
    };
    call_all(1);
    size_t before = descriptors();
    call_all(300);
    EXPECT_EQ(descriptors(), before);
    service().answer_all(no_answer());
    call_all(30);
    EXPECT_LE(descriptors(), before);
}

} // namespace
