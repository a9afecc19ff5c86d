// wexond.wifi.vsie, .beacontx, .proberx and .proberesp.

#include "tests/handlers/list_answer.h"
#include "tests/handlers/method_arguments.h"
#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kGetLimits = 215;
constexpr uint32_t kAddBeacon = 217;
constexpr uint32_t kListBeacons = 219;
constexpr uint32_t kAddWatch = 221;
constexpr uint32_t kListWatches = 223;
constexpr uint32_t kFlushWatch = 224;
constexpr uint32_t kAddResponse = 225;
constexpr uint32_t kListResponses = 227;

const std::string kBeacons = "wexond.wifi.vsie.beacontx";
const std::string kWatches = "wexond.wifi.vsie.proberx";
const std::string kResponses = "wexond.wifi.vsie.proberesp";

Bytes word(uint32_t value)
{
    return Bytes(4).u32(0, value);
}

using Shown = std::vector<ReplyValue>;

std::string listing(const std::string &object, const Shown &elements)
{
    return table({{object, array(elements)}});
}

// --- What the three lists have in common ---

struct Add {
    std::string object;
    MethodArguments arguments;
    std::string array; // the argument that is an array
    uint32_t type;
    Bytes record; // what the arguments make
    std::string failure;
    std::vector<std::string> log;
};

const Add kAdds[] = {
    {.object = kBeacons,
     .arguments = {{"servicename", R"("portal")"},
                   {"ssididx", "2"},
                   {"duration", "-1"},
                   {"len", "3"},
                   {"iedata", "[221, 0, 511]"}},
     .array = "iedata",
     .type = kAddBeacon,
     .record = Bytes(1104).text(4, "portal").u32(68, 2).u32(72, 0xFFFFFFFF).u32(76, 3).u32(80, 221).u32(88, 0xFF),
     .failure = "failed to add wifivise beacontx",
     .log = {"servicename:portal / ssididx:2 / duration:-1 / len:3"}},
    {.object = kWatches,
     .arguments = {{"servicename", R"("portal")"}, {"band", "5"}, {"oui", "[0, 26, 555]"}},
     .array = "oui",
     .type = kAddWatch,
     .record = Bytes(2416).text(4, "portal").u32(68, 1).text(72, std::string("\x00\x1A\x2B", 3)),
     .failure = "failed to add for vsie proberx",
     .log = {"servicename:portal / band:5"}},
    {.object = kResponses,
     .arguments = {{"mac", R"("001a2b3c4d5e")"}, {"iedata", "[221, 0, -1]"}},
     .array = "iedata",
     .type = kAddResponse,
     .record = Bytes(288).text(4, "00:1A:2B:3C:4D:5E").u32(28, 3).text(32, std::string("\xDD\x00\xFF", 3)),
     .failure = "failed to add for vsie proberesp",
     .log = {"mac:001a2b3c4d5e"}},
};

// Methods with one argument that get a return code for an answer.
struct Command {
    std::string object, method;
    uint32_t type;
    Bytes record; // for idx 7 or the servicename "portal"
    std::string failure;

    std::string argument() const { return method == "flush" ? "servicename" : "idx"; }
    std::string arguments() const { return method == "flush" ? R"({"servicename": "portal"})" : R"({"idx": 7})"; }
    std::string log() const { return method == "flush" ? "servicename:portal" : "idx:7"; }
};

const Command kCommands[] = {
    {kBeacons, "delete", 218, word(7), "failed to del wifivise beacontx"},
    {kBeacons, "start", 220, Bytes(8).u32(0, 7).u32(4, 1), "failed to start wifivise beacontx"},
    {kBeacons, "stop", 220, Bytes(8).u32(0, 7), "failed to stop wifivise beacontx"},
    {kWatches, "delete", 222, word(7), "failed to delete for vsie proberx"},
    {kWatches, "flush", kFlushWatch, Bytes(64).text(0, "portal"), "failed to flush for vsie proberx"},
    {kResponses, "delete", 226, word(7), "failed to delete for vsie proberesp"},
};

struct Reader {
    std::string object, method;
    uint32_t type, expected;
    std::string failure;
    bool is_checked_in_common; // by the check that logs why
};

const Reader kReaders[] = {
    {"wexond.wifi.vsie", "get", kGetLimits, 20, "failed to get vsie", true},
    {kBeacons, "list", kListBeacons, 8840, "failed to get wifivsie beacontx list", false},
    {kWatches, "list", kListWatches, 7256, "failed to list for vsie proberx", true},
    {kResponses, "list", kListResponses, 872, "failed to list for vsie proberesp", true},
};

class VsieTest : public HandlerTest
{
  protected:
    std::string add(const Add &row, const std::string &name, const std::string &json)
    {
        return call(row.object, "add", row.arguments.with(name, json).json());
    }

    // The record that the arguments make with another value of one of them.
    Bytes sent_with(const Add &row, const std::string &name, const std::string &json)
    {
        service().answer(row.type, record(word(3)));
        EXPECT_EQ(add(row, name, json), R"({"result": "0", "idx": 3, "failreason": ""})");
        Requests requests = service().take_requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? Bytes() : requests[0].payload;
    }

    std::string list(const std::string &object, uint32_t type, const Bytes &answer)
    {
        service().answer(type, record(answer));
        return call(object, "list");
    }

    static std::string function(const std::string &object, const std::string &method)
    {
        const std::string prefix = "wexond.wifi.vsie";
        std::string words = object.substr(prefix.size());
        std::replace(words.begin(), words.end(), '.', '_');
        return "wexond_wifivsie" + words + "_" + method;
    }
    static std::string line(const std::string &function, const std::string &message)
    {
        return "[" + function + ".#]: " + message + " \n\n";
    }
};

TEST_F(VsieTest, AddSendsItsRecordAndRepliesTheIndex)
{
    for (const Add &row : kAdds) {
        SCOPED_TRACE(row.object);
        for (uint32_t index : {1u, 0u, 0xFFFFFFFFu}) {
            service().answer(row.type, record(word(index)));
            EXPECT_EQ(call(row.object, "add", row.arguments.json()),
                      table({{"result", "0"}, {"idx", index}, {"failreason", ""}}));
            EXPECT_EQ(service().take_requests(), (Requests{{row.type, 8, row.record}}));
        }
    }
}

TEST_F(VsieTest, AFailedAddRepliesNoIndex)
{
    for (const Add &row : kAdds) {
        service().answer_in_turn(row.type, {code(1, word(3)), no_answer()});
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(call(row.object, "add", row.arguments.json()), failure(row.failure));
    }
}

TEST_F(VsieTest, AddRequiresEveryArgumentInOrder)
{
    for (const Add &row : kAdds)
        for (size_t i = 0; i < row.arguments.size(); i++)
            for (const MethodArguments &some : {row.arguments.without(i), row.arguments.first(i)})
                EXPECT_EQ(call(row.object, "add", some.json()),
                          failure("required parameter: " + row.arguments.name(i)));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(VsieTest, AddRefusesElementsThatAreNoBytes)
{
    for (const Add &row : kAdds) {
        for (const char *elements : {R"(["1"])", "[1, 2, null]", "[[1]]", "[{}]", "[true]", "[1.5]", "[5000000000]"})
            EXPECT_EQ(add(row, row.array, elements), failure("unrecognized parameter: " + row.array)) << elements;
        std::string rest = from_json(row.arguments.without(row.arguments.size() - 1).json());
        for (const std::string &malformed :
             {value(Type::int32, "", "\1\2"), std::string(2, '\1'), big_endian32(0x85000020) + std::string(8, '\0')}) {
            RawMessage message{rest + value(Type::array, row.array, malformed)};
            EXPECT_EQ(call(row.object, "add", message), failure("unrecognized parameter: " + row.array));
        }
    }
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(VsieTest, WhatFollowsTheLimitDoesNotCount)
{
    auto numbers = [](size_t count) {
        std::string array = "[5";
        while (--count > 0)
            array += ", 5";
        return array;
    };
    for (const auto &[row, limit] : {std::pair(1, 3), std::pair(2, 256)}) {
        const Add &adding = kAdds[row];
        const Bytes expected = sent_with(adding, adding.array, numbers(limit) + "]");
        EXPECT_EQ(sent_with(adding, adding.array, numbers(limit) + R"(, "x", {}])"), expected);
        EXPECT_EQ(add(adding, adding.array, numbers(limit - 1) + R"(, "x"])"),
                  failure("unrecognized parameter: " + adding.array));
    }
}

TEST_F(VsieTest, CommandsSendTheirRecord)
{
    for (const Command &row : kCommands) {
        service().answer(row.type, code(0));
        EXPECT_EQ(call(row.object, row.method, row.arguments()), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{row.type, 4, row.record}}));
    }
}

TEST_F(VsieTest, CommandsReportFailures)
{
    for (const Command &row : kCommands) {
        service().answer_in_turn(row.type, {code(1), no_answer()});
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(call(row.object, row.method, row.arguments()), failure(row.failure));
    }
}

TEST_F(VsieTest, CommandsRequireTheirArgument)
{
    for (const Command &row : kCommands)
        EXPECT_EQ(call(row.object, row.method), failure("required parameter: " + row.argument())) << row.method;
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(VsieTest, AFailedReadReportsOnlyItsFailure)
{
    for (const Reader &row : kReaders) {
        service().answer_in_turn(row.type, {code(1, Bytes(row.expected - 4).u32(0, 1).u32(4, 1)), no_answer()});
        for (int i = 0; i < 2; i++)
            EXPECT_EQ(call(row.object, row.method), failure(row.failure));
        EXPECT_EQ(service().take_requests(), (Requests{{row.type, row.expected}, {row.type, row.expected}}));
    }
}

TEST_F(VsieTest, ReportsTheLimits)
{
    service().answer(kGetLimits, record(Bytes(16).u32(0, 8).u32(4, 0xFFFFFFFF).u32(8, 3).u32(12, 0)));
    EXPECT_EQ(call("wexond.wifi.vsie", "get"),
              R"({"wexond.wifi.vsie": {"maxbeacontxentry": 8, "maxbeacontxconcurrent": -1, )"
              R"("maxproberxentry": 3, "maxproberespentry": 0}})");
    EXPECT_EQ(service().take_requests(), (Requests{{kGetLimits, 20}}));
}

TEST_F(VsieTest, ServiceNamesFillTheirFieldToTheLastByte)
{
    std::string name(64, 's');
    service().answer(kFlushWatch, code(0));
    for (const char *more : {"", "x", "xxxxxxxx"}) {
        for (const Add &row : {kAdds[0], kAdds[1]})
            EXPECT_EQ(sent_with(row, "servicename", in_quotes(name + more)), Bytes(row.record).text(4, name));
        EXPECT_EQ(call(kWatches, "flush", R"({"servicename": ")" + name + more + "\"}"), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{kFlushWatch, 4, Bytes(64).text(0, name)}}));
    }
}

TEST_F(VsieTest, LogsAdds)
{
    for (const Add &row : kAdds) {
        std::string name = function(row.object, "add"), start = entry_log(name, row.object, "add");
        std::string arguments;
        for (const std::string &message : row.log)
            arguments += line(name, message);
        service().answer_in_turn(row.type, {record(word(1)), code(7)});
        enable_log();
        call(row.object, "add", row.arguments.json());
        EXPECT_EQ(take_log(), start + arguments + line(name, "success , "));
        call(row.object, "add", row.arguments.json());
        std::string check = row.object == kBeacons ? "" : "[wexond_check_ret.#]: Msg retcode = 7\n";
        EXPECT_EQ(take_log(), start + arguments + check + line(name, "failed , " + row.failure));
        call(row.object, "add");
        EXPECT_EQ(take_log(), start + line(name, "failed , required parameter: " + row.arguments.name(0)));
        disable_log();
        call(row.object, "add", row.arguments.json());
        EXPECT_EQ(take_log(), "");
    }
}

TEST_F(VsieTest, LogsCommandsAndReads)
{
    enable_log();
    for (const Command &row : kCommands) {
        std::string name = function(row.object, row.method);
        service().answer(row.type, code(0));
        call(row.object, row.method, row.arguments());
        EXPECT_EQ(take_log(), entry_log(name, row.object, row.method) + line(name, row.log()) + set_reply_log());
    }
    for (const Reader &row : kReaders) {
        std::string name = function(row.object, row.method);
        std::string check = row.is_checked_in_common ? "[wexond_check_ret.#]: Msg return buf = NULL\n" : "";
        service().answer_in_turn(row.type, {record(Bytes(row.expected - 4)), no_answer()});
        call(row.object, row.method);
        EXPECT_EQ(take_log(), entry_log(name, row.object, row.method) + get_reply_log());
        call(row.object, row.method);
        EXPECT_EQ(take_log(), entry_log(name, row.object, row.method) + check + get_reply_log(row.failure));
    }
}

// --- Sent in beacons ---

class BeaconTest : public VsieTest
{
  protected:
    static Bytes beacon(uint32_t index, uint32_t length, size_t filled)
    {
        Bytes record = Bytes(1104).u32(0, index).text(4, "portal").u32(68, 2).u32(72, 0xFFFFFFFF).u32(76, length);
        for (size_t i = 0; i < filled; i++)
            record.u32(80 + 4 * i, 0xDD);
        return record;
    }
    static ReplyText element(uint32_t index, int32_t length, size_t shown, const std::string &name = "portal")
    {
        return table({{"idx", index},
                      {"servicename", name},
                      {"ssididx", 2},
                      {"duration", -1},
                      {"len", length},
                      {"iedata", array(Shown(shown, 221))}});
    }
    std::string add_bytes(const std::string &length, const std::string &bytes)
    {
        return call(kBeacons, "add", kAdds[0].arguments.with("len", length).with("iedata", bytes).json());
    }
};

TEST_F(BeaconTest, RefusesALengthThatIsNotThatOfTheData)
{
    EXPECT_EQ(add_bytes("3", "[1, 2, 3, 4]"), failure("required parameter: len(3) != iedata len(4)"));
    EXPECT_EQ(add_bytes("3", "[]"), failure("required parameter: len(3) != iedata len(0)"));
    EXPECT_EQ(add_bytes("-1", "[1]"), failure("required parameter: len(-1) != iedata len(1)"));
    EXPECT_EQ(add_bytes("256", array_of(257, "1")), failure("required parameter: len(256) != iedata len(257)"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(BeaconTest, TakesUpToTwoHundredFiftySixBytes)
{
    service().answer(kAddBeacon, record(word(3)));
    Bytes full = Bytes(kAdds[0].record).u32(76, 256);
    for (size_t i = 0; i < 256; i++)
        full.u32(80 + 4 * i, 0xDD);
    EXPECT_EQ(add_bytes("256", array_of(256, "221")), R"({"result": "0", "idx": 3, "failreason": ""})");
    EXPECT_EQ(service().take_requests(), (Requests{{kAddBeacon, 8, full}}));
    EXPECT_EQ(add_bytes("0", "[]"), R"({"result": "0", "idx": 3, "failreason": ""})");
    EXPECT_EQ(service().take_requests(),
              (Requests{{kAddBeacon, 8, Bytes(1104).text(4, "portal").u32(68, 2).u32(72, 0xFFFFFFFF)}}));
}

TEST_F(BeaconTest, RefusesMoreBytesThanARecordHolds)
{
    for (size_t count : {257, 5000})
        EXPECT_EQ(add_bytes(std::to_string(count), array_of(count, "221")), failure("unrecognized parameter: iedata"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(BeaconTest, ListsWhatWasStored)
{
    EXPECT_EQ(list(kBeacons, kListBeacons, list_answer(8, 1104, {beacon(5, 3, 256), beacon(0, 0, 256)})),
              listing(kBeacons, {element(5, 3, 3), element(0, 0, 0)}));
    EXPECT_EQ(service().take_requests(), (Requests{{kListBeacons, 8840}}));
    EXPECT_EQ(list(kBeacons, kListBeacons, list_answer(8, 1104, {})), listing(kBeacons, {}));
}

TEST_F(BeaconTest, ListCutsCountsAtWhatTheAnswerHolds)
{
    std::vector<Bytes> records;
    Shown elements;
    for (uint32_t index = 1; index <= 8; index++) {
        records.push_back(beacon(index, index < 8 ? 257 : 0xFFFFFFFF, 256));
        elements.push_back(element(index, index < 8 ? 257 : -1, 256));
    }
    for (uint32_t count : {8u, 9u, 0xFFFFFFFFu})
        EXPECT_EQ(list(kBeacons, kListBeacons, list_answer(8, 1104, records, count)), listing(kBeacons, elements))
            << count;
}

TEST_F(BeaconTest, ListsAServiceNameThatFillsItsField)
{
    std::string name(64, 's');
    std::string reply = list(kBeacons, kListBeacons, list_answer(8, 1104, {beacon(5, 0, 0).text(4, name)}));
    EXPECT_EQ(reply, listing(kBeacons, {element(5, 0, 0, name)}));
}

// --- Watched for in probe requests ---

class ProbeWatchTest : public VsieTest
{
  protected:
    static Bytes watch(uint32_t index, uint32_t frames)
    {
        return Bytes(2416)
            .u32(0, index)
            .text(4, "portal")
            .u32(68, 2)
            .text(72, std::string("\x00\x1A\xFF", 3))
            .u32(76, frames);
    }
    static void put_frame(Bytes &watch, size_t position, uint32_t length)
    {
        size_t start = 80 + position * 292;
        watch.text(start, "\1\2\3\4").text(start + 4, "00:1a:2b:3c:4d:5e").u32(start + 24, 7).u32(start + 28, length);
        watch.text(start + 32, std::string(260, '\xDD'));
    }
    static ReplyText element(uint32_t index, const Shown &frames = {}, const std::string &name = "portal", int band = 1)
    {
        return table({{"idx", index},
                      {"servicename", name},
                      {"band", band},
                      {"oui", array({0, 26, 255})},
                      {"record", array(frames)}});
    }
    // A frame of which so many bytes are shown after the OUI.
    static ReplyText frame(size_t shown, const std::string &mac = "001A2B3C4D5E")
    {
        Shown bytes = {0, 26, 255};
        bytes.resize(bytes.size() + shown, 221);
        return table({{"mac", mac}, {"band", 7}, {"vsie", array(bytes)}});
    }
    std::string list(const std::vector<Bytes> &watches, std::optional<uint32_t> count = {})
    {
        return VsieTest::list(kWatches, kListWatches, list_answer(3, 2416, watches, count));
    }
};

TEST_F(ProbeWatchTest, TakesThreeBytesOfAnOui)
{
    struct Row {
        const char *oui;
        std::string bytes;
    };
    const Row rows[] = {
        {"[]", std::string(3, '\0')},
        {"[1]", std::string("\1\0\0", 3)},
        {"[1, 2]", std::string("\1\2\0", 3)},
        {"[1, 2, 3, 4, 5]", "\1\2\3"},
        {"[511, 256, -1]", std::string("\xFF\0\xFF", 3)},
    };
    for (const Row &row : rows)
        EXPECT_EQ(sent_with(kAdds[1], "oui", row.oui), Bytes(kAdds[1].record).text(72, row.bytes)) << row.oui;
}

TEST_F(ProbeWatchTest, SendsAnyBandButZeroAsOne)
{
    for (const char *band : {"1", "2", "-1", "256"})
        EXPECT_EQ(sent_with(kAdds[1], "band", band), kAdds[1].record) << band;
    EXPECT_EQ(sent_with(kAdds[1], "band", "0"), Bytes(kAdds[1].record).u32(68, 0));
}

TEST_F(ProbeWatchTest, ListsTheOuiBeforeEachFramesBytes)
{
    Bytes caught = watch(5, 2);
    put_frame(caught, 0, 2);
    put_frame(caught, 1, 0);
    EXPECT_EQ(list({caught, watch(6, 0).u32(68, 0)}),
              listing(kWatches, {element(5, {frame(2), frame(0)}), element(6, {}, "portal", 0)}));
    EXPECT_EQ(service().take_requests(), (Requests{{kListWatches, 7256}}));
    EXPECT_EQ(list({}), listing(kWatches, {}));
}

TEST_F(ProbeWatchTest, ListCutsFramesAndTheirBytes)
{
    for (uint32_t length : {255u, 256u, 260u, 0xFFFFFFFFu}) {
        Bytes caught = watch(5, length);
        for (size_t i = 0; i < 8; i++)
            put_frame(caught, i, length);
        EXPECT_EQ(list({caught}), listing(kWatches, {element(5, Shown(8, frame(255)))})) << length;
    }
}

TEST_F(ProbeWatchTest, ListSkipsEmptySlotsWithinItsCount)
{
    EXPECT_EQ(list({watch(0, 0), watch(6, 0), watch(7, 0)}), listing(kWatches, {element(6), element(7)}));
    EXPECT_EQ(list({watch(0, 0), watch(6, 0), watch(7, 0)}, 2), listing(kWatches, {element(6)}));
    for (uint32_t count : {5u, 0xFFFFFFFFu})
        EXPECT_EQ(list({watch(5, 0), watch(6, 0), watch(7, 0)}, count),
                  listing(kWatches, {element(5), element(6), element(7)}));
}

TEST_F(ProbeWatchTest, ListKeepsFieldsApartThatAreFilledToTheLastByte)
{
    std::string name(64, 's'), mac(20, 'm');
    Bytes caught = watch(5, 1).text(4, name);
    put_frame(caught, 0, 0);
    caught.text(84, mac);
    EXPECT_EQ(list({caught}), listing(kWatches, {element(5, {frame(0, mac)}, name)}));
}

// --- Sent in probe responses ---

class ProbeResponseTest : public VsieTest
{
  protected:
    static Bytes response(uint32_t index, uint32_t length)
    {
        return Bytes(288)
            .u32(0, index)
            .text(4, "00:1a:2b:3c:4d:5e")
            .u32(24, 2)
            .u32(28, length)
            .text(32, std::string(256, '\xDD'));
    }
    static ReplyText element(uint32_t index, size_t shown, const char *mac = "001A2B3C4D5E", int band = 1)
    {
        return table({{"idx", index}, {"mac", mac}, {"band", band}, {"iedata", array(Shown(shown, 221))}});
    }
    std::string list(const std::vector<Bytes> &responses, std::optional<uint32_t> count = {})
    {
        return VsieTest::list(kResponses, kListResponses, list_answer(3, 288, responses, count));
    }
};

TEST_F(ProbeResponseTest, RewritesOnlyMacsOfTwelveDigits)
{
    struct Row {
        const char *given;
        const char *sent;
    };
    const Row rows[] = {
        {"aabbccddeeff", "AA:BB:CC:DD:EE:FF"},
        {"aa:bb:cc:dd:ee:ff", "aa:bb:cc:dd:ee:ff"},
        {"aabbccddeef", "aabbccddeef"},
        {"", ""},
        {"no mac at !!", "no mac at !!"},
        {"eighteen letters--", "eighteen letters--"},
        {"eighteen letters--and more", "eighteen letters--"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(sent_with(kAdds[2], "mac", in_quotes(row.given)),
                  Bytes(kAdds[2].record).text(4, std::string(18, '\0')).text(4, row.sent))
            << row.given;
}

TEST_F(ProbeResponseTest, SendsTheFirstTwoHundredFiftySixBytes)
{
    for (size_t count : {0, 1, 256, 257, 300}) {
        size_t sent = std::min<size_t>(count, 256);
        EXPECT_EQ(sent_with(kAdds[2], "iedata", array_of(count, "511")), Bytes(288)
                                                                             .text(4, "00:1A:2B:3C:4D:5E")
                                                                             .u32(28, static_cast<uint32_t>(sent))
                                                                             .text(32, std::string(sent, '\xFF')))
            << count;
    }
}

TEST_F(ProbeResponseTest, ListsWhatWasStored)
{
    EXPECT_EQ(list({response(5, 3), response(6, 0).u32(24, 0).text(4, "00:1A:2B:3C:4D:5EF")}),
              listing(kResponses, {element(5, 3), element(6, 0, "00:1A:2B:3C:4D:5EF", 0)}));
    EXPECT_EQ(service().take_requests(), (Requests{{kListResponses, 872}}));
    EXPECT_EQ(list({}), listing(kResponses, {}));
}

TEST_F(ProbeResponseTest, ListCutsLengthsAndSkipsEmptySlotsWithinItsCount)
{
    for (uint32_t length : {256u, 257u, 0xFFFFFFFFu})
        EXPECT_EQ(list({response(5, length)}), listing(kResponses, {element(5, 256)})) << length;
    EXPECT_EQ(list({response(0, 1), response(6, 1), response(7, 1)}),
              listing(kResponses, {element(6, 1), element(7, 1)}));
    EXPECT_EQ(list({response(0, 1), response(6, 1), response(7, 1)}, 2), listing(kResponses, {element(6, 1)}));
    for (uint32_t count : {4u, 0xFFFFFFFFu})
        EXPECT_EQ(list({response(5, 1), response(6, 1), response(7, 1)}, count),
                  listing(kResponses, {element(5, 1), element(6, 1), element(7, 1)}));
}

} // namespace
