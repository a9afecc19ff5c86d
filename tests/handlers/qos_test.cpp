// wexond.qos and wexond.qos.classification.

#include "tests/handlers/list_answer.h"
#include "tests/handlers/method_arguments.h"
#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

// The switches, in order: request types and the reason when they cannot be set.
struct Switch {
    uint32_t set, get;
    std::string failure;
};

const Switch kSwitches[] = {
    {199, 200, "Set qos status failed"}, {201, 202, "Set dscp status failed"}, {203, 204, "Set 8021p status failed"}};

const MethodArguments kSwitchArguments = {
    {"enable", R"("yes")"}, {"enabledscp", R"("no")"}, {"enable8021p", R"("yes")"}};

Bytes word(uint32_t value)
{
    return Bytes(4).u32(0, value);
}

constexpr uint32_t kAdd = 153;
constexpr uint32_t kDelete = 154;
constexpr uint32_t kList = 155;

constexpr size_t kSize = 200; // of a rule
constexpr size_t kName = 4;
constexpr size_t kProtocols = 52; // 8 words
constexpr size_t kSrcMac = 124;
constexpr size_t kDstMac = 180;

const MethodArguments kRule = {{"priority", "5"},
                               {"dscp", "46"},
                               {"vlan8021p", "-1"},
                               {"name", R"("voice")"},
                               {"protocol", R"("udp")"},
                               {"srcmac", R"("00:1a:2b:3c:4d:5e")"},
                               {"dstmac", R"("001a2b3c4d5f")"}};

// The record that add sends for these arguments.
Bytes rule_record()
{
    return Bytes(kSize)
        .text(kName, "voice")
        .u32(40, 5)
        .u32(44, 46)
        .u32(48, 0xFFFFFFFF)
        .u32(kProtocols, 2)
        .text(kSrcMac, "00:1a:2b:3c:4d:5e")
        .text(kDstMac, "001a2b3c4d5f");
}

Bytes list_of(const std::vector<Bytes> &rules, std::optional<uint32_t> count = {})
{
    return list_answer(32, kSize, rules, count);
}

std::string added(const std::string &reason = "")
{
    return table({{"result", reason.empty() ? "0" : "1"}, {"idx", 0}, {"failreason", reason}});
}

class QosTest : public HandlerTest
{
};

TEST_F(QosTest, SetsEachSwitchInOrder)
{
    for (const Switch &row : kSwitches)
        service().answer(row.set, code(0));
    EXPECT_EQ(call("wexond.qos", "set", kSwitchArguments.json()), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{199, 4, word(1)}, {201, 4, word(0)}, {203, 4, word(1)}}));
    EXPECT_EQ(call("wexond.qos", "set", R"({"enable": "no", "enabledscp": "yes", "enable8021p": "Yes"})"), kSuccess);
    EXPECT_EQ(service().take_requests(), (Requests{{199, 4, word(0)}, {201, 4, word(1)}, {203, 4, word(0)}}));
}

// Each of the three may fail by a code, by no answer, or not at all.
TEST_F(QosTest, SetAsksForAllThreeAndReportsTheLastFailure)
{
    const Answer answers[] = {code(0), code(1), no_answer()};
    for (int round = 1; round < 27; round++) {
        const int picks[] = {round / 9, round / 3 % 3, round % 3};
        std::string reason;
        for (size_t i = 0; i < std::size(kSwitches); i++) {
            service().answer(kSwitches[i].set, answers[picks[i]]);
            if (picks[i])
                reason = kSwitches[i].failure;
        }
        EXPECT_EQ(call("wexond.qos", "set", kSwitchArguments.json()), failure(reason)) << round;
        EXPECT_EQ(service().take_requests().size(), 3u);
    }
}

TEST_F(QosTest, SetRequiresEveryArgumentInOrder)
{
    for (size_t i = 0; i < kSwitchArguments.size(); i++)
        for (const MethodArguments &some : {kSwitchArguments.without(i), kSwitchArguments.first(i)})
            EXPECT_EQ(call("wexond.qos", "set", some.json()),
                      failure("required parameter: " + kSwitchArguments.name(i)));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(QosTest, GetReportsEachSwitchInOrder)
{
    service().answer(200, record(word(1)));
    service().answer(202, record(word(0)));
    service().answer(204, record(word(2)));
    EXPECT_EQ(call("wexond.qos", "get"),
              R"({"wexond.qos": {"enable": "yes", "enabledscp": "no", "enable8021p": "no"}})");
    EXPECT_EQ(service().take_requests(), (Requests{{200, 8}, {202, 8}, {204, 8}}));
}

TEST_F(QosTest, GetDoesNotLookAtReturnCodes)
{
    service().answer(200, code(1, word(1)));
    service().answer(202, code(1));
    service().answer(204, code(0));
    EXPECT_EQ(call("wexond.qos", "get"),
              R"({"wexond.qos": {"enable": "yes", "enabledscp": "no", "enable8021p": "no"}})");
}

TEST_F(QosTest, GetLeavesOutTheKeysOfMissingAnswers)
{
    service().answer(200, no_answer());
    service().answer(202, record(word(1)));
    service().answer(204, no_answer());
    EXPECT_EQ(call("wexond.qos", "get"), R"({"wexond.qos": {"enabledscp": "yes"}})");
    EXPECT_EQ(service().take_requests().size(), 3u);
    end_service();
    EXPECT_EQ(call("wexond.qos", "get"), R"({"wexond.qos": {}})");
}

TEST_F(QosTest, LogsItsCalls)
{
    service().answer_all(code(1));
    enable_log();
    call("wexond.qos", "set", kSwitchArguments.json());
    EXPECT_EQ(take_log(), entry_log("wexond_qos_set", "wexond.qos", "set") +
                              "[wexond_qos_set.#]: enable:yes \n\n"
                              "[wexond_qos_set.#]: enabledscp:no \n\n"
                              "[wexond_qos_set.#]: enable8021p:yes \n\n" +
                              set_reply_log("Set 8021p status failed"));
    call("wexond.qos", "get");
    EXPECT_EQ(take_log(), entry_log("wexond_qos_get", "wexond.qos", "get") + get_reply_log());
    disable_log();
    call("wexond.qos", "get");
    EXPECT_EQ(take_log(), "");
}

// --- Classification ---

class ClassificationTest : public HandlerTest
{
  protected:
    // Replies.
    std::string add(const MethodArguments &arguments)
    {
        return call("wexond.qos.classification", "add", arguments.json());
    }
    std::string remove(const std::string &index)
    {
        return call("wexond.qos.classification", "delete", "{\"idx\": " + index + "}");
    }
    std::string list(const Answer &answer)
    {
        service().answer(kList, answer);
        return call("wexond.qos.classification", "list");
    }

    // The record that the rule makes with another value of one argument.
    Bytes sent_with(const std::string &name, const std::string &text)
    {
        service().answer(kAdd, code(0));
        EXPECT_EQ(add(kRule.with(name, "\"" + text + "\"")), added());
        Requests requests = service().take_requests();
        EXPECT_EQ(requests.size(), 1u);
        return requests.empty() ? Bytes() : requests[0].payload;
    }

    // The protocol texts that a list of rules with these protocols reports.
    std::vector<std::string> listed_protocols(const std::vector<std::vector<uint32_t>> &rules)
    {
        std::vector<Bytes> records;
        for (const auto &protocols : rules) {
            Bytes &rule = records.emplace_back(kSize);
            for (size_t i = 0; i < protocols.size(); i++)
                rule.u32(kProtocols + 4 * i, protocols[i]);
        }
        std::string reply = list(record(list_of(records)));
        const std::string key = "\"protocol\": \"";
        std::vector<std::string> texts;
        for (size_t at = 0; (at = reply.find(key, at)) != std::string::npos;) {
            at += key.size();
            texts.push_back(reply.substr(at, reply.find('"', at) - at));
        }
        return texts;
    }
};

using Texts = std::vector<std::string>;

TEST_F(ClassificationTest, AddSendsTheRuleAndClearsWhatItDoesNotFill)
{
    service().answer(kAdd, code(0));
    EXPECT_EQ(add(kRule), added());
    EXPECT_EQ(service().take_requests(), (Requests{{kAdd, 4, rule_record()}}));
}

TEST_F(ClassificationTest, AddRepliesIndexZeroAlsoWhenItFails)
{
    service().answer_in_turn(kAdd, {code(1), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(add(kRule), added("failed to add qos classification"));
    EXPECT_EQ(add(kRule.first(0)), added("required parameter: priority"));
}

TEST_F(ClassificationTest, AddRequiresEveryArgumentInOrder)
{
    for (size_t i = 0; i < kRule.size(); i++)
        for (const MethodArguments &some : {kRule.without(i), kRule.first(i)})
            EXPECT_EQ(add(some), added("required parameter: " + kRule.name(i)));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(ClassificationTest, FindsTheFirstProtocolThatTheTextContains)
{
    struct Row {
        const char *text;
        uint32_t protocol;
    };
    const Row rows[] = {
        {"tcp", 1},     {"udp", 2},     {"icmp", 3},         {"TCP", 0}, {"", 0},      {"all", 0},
        {"udp,tcp", 1}, {"icmpudp", 2}, {"icmp and tcp", 1}, {"tc", 0},  {"xtcpx", 1}, {"icmpv6", 3},
    };
    for (const Row &row : rows)
        EXPECT_EQ(sent_with("protocol", row.text), rule_record().u32(kProtocols, row.protocol)) << row.text;
}

TEST_F(ClassificationTest, CutsTextsAtTheirLimits)
{
    std::string name(33, 'n'), mac(17, 'm');
    for (const char *more : {"", "x", "xxxxxxxx"}) {
        EXPECT_EQ(sent_with("name", name + more), rule_record().text(kName, name));
        EXPECT_EQ(sent_with("srcmac", mac + more), rule_record().text(kSrcMac, mac));
        EXPECT_EQ(sent_with("dstmac", mac + more), rule_record().text(kDstMac, mac));
    }
    EXPECT_EQ(sent_with("srcmac", ""), rule_record().text(kSrcMac, std::string(17, '\0')));
}

// The index of an added rule stays unread, so that the entry of index 0 stands for it.
TEST_F(ClassificationTest, AnAddedRuleHasTheEntryOfIndexZero)
{
    service().answer(kDelete, code(0));
    EXPECT_EQ(remove("0"), failure("not found"));
    service().answer(kAdd, code(0, word(7)));
    EXPECT_EQ(add(kRule), added());
    EXPECT_EQ(add(kRule), added()) << "takes the place of the first";
    service().take_requests();
    EXPECT_EQ(remove("7"), failure("not found"));
    EXPECT_EQ(remove("0"), kSuccess);
    EXPECT_EQ(remove("0"), failure("not found"));
    EXPECT_EQ(service().take_requests(), (Requests{{kDelete, 4, word(0)}}));
}

TEST_F(ClassificationTest, ARefusedAddMakesNoEntry)
{
    service().answer_in_turn(kAdd, {code(1), no_answer()});
    add(kRule);
    add(kRule);
    service().take_requests();
    EXPECT_EQ(remove("0"), failure("not found"));
    EXPECT_EQ(service().take_requests(), Requests{});
}

TEST_F(ClassificationTest, ARefusedDeleteDoesNotBringTheEntryBack)
{
    list(record(list_of({word(3), word(4)})));
    service().take_requests();
    service().answer_in_turn(kDelete, {code(1), no_answer()});
    for (const char *index : {"3", "4"}) {
        EXPECT_EQ(remove(index), failure("failed to delete qos classification"));
        EXPECT_EQ(remove(index), failure("not found"));
    }
    EXPECT_EQ(service().take_requests(), (Requests{{kDelete, 4, word(3)}, {kDelete, 4, word(4)}}));
    EXPECT_EQ(call("wexond.qos.classification", "delete"), failure("required parameter: idx"));
}

TEST_F(ClassificationTest, ListReportsTheRules)
{
    Bytes rule = Bytes(kSize)
                     .u32(0, 7)
                     .text(kName, "voice")
                     .u32(40, 5)
                     .u32(44, 46)
                     .u32(48, 0xFFFFFFFF)
                     .u32(kProtocols, 3)
                     .u32(kProtocols + 28, 1)
                     .text(84, "192.168.1.2")
                     .text(101, "255.255.255.0")
                     .u32(120, 5060)
                     .text(kSrcMac, "00:1a:2b:3c:4d:5e")
                     .text(141, "10.0.0.1")
                     .text(158, "255.0.0.0")
                     .u32(176, 0xFFFFFFFF)
                     .text(kDstMac, "001a2b3c4d5f");
    EXPECT_EQ(list(record(list_of({rule}))),
              R"({"wexond.qos.classification": [{"idx": 7, "name": "voice", "priority": 5, "dscp": 46, )"
              R"("vlan8021p": -1, "protocol": "icmp,tcp", "srcip": "192.168.1.2", "srcmask": "255.255.255.0", )"
              R"("srcport": "5060", "srcmac": "001A2B3C4D5E", "dstip": "10.0.0.1", "dstmask": "255.0.0.0", )"
              R"("dstport": "-1", "dstmac": "001a2b3c4d5f"}]})");
    EXPECT_EQ(service().take_requests(), (Requests{{kList, 6408}}));
    EXPECT_EQ(list(record(list_of({}))), R"({"wexond.qos.classification": []})");
}

TEST_F(ClassificationTest, ListKeepsFieldsApartThatAreFilledToTheLastByte)
{
    Bytes rule(kSize);
    rule.text(kName, std::string(36, 'n')).text(84, std::string(17, 'a')).text(101, std::string(17, 'b'));
    rule.text(kSrcMac, std::string(17, 'c')).text(141, std::string(17, 'd')).text(158, std::string(17, 'e'));
    rule.text(kDstMac, std::string(17, 'f'));
    EXPECT_EQ(list(record(list_of({rule}))),
              R"({"wexond.qos.classification": [{"idx": 0, "name": "nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn", )"
              R"("priority": 0, "dscp": 0, "vlan8021p": 0, "protocol": "", "srcip": "aaaaaaaaaaaaaaaaa", )"
              R"("srcmask": "bbbbbbbbbbbbbbbbb", "srcport": "0", "srcmac": "ccccccccccccccccc", )"
              R"("dstip": "ddddddddddddddddd", "dstmask": "eeeeeeeeeeeeeeeee", "dstport": "0", )"
              R"("dstmac": "fffffffffffffffff"}]})");
}

TEST_F(ClassificationTest, ListCarriesTheProtocolsOverToTheNextRule)
{
    EXPECT_EQ(listed_protocols({{1}, {2}, {}, {3, 1}}), (Texts{"tcp", "tcp,udp", "tcp,udp", "tcp,udp,icmp,tcp"}));
    EXPECT_EQ(listed_protocols({{2}}), (Texts{"udp"})) << "each list starts anew";
}

TEST_F(ClassificationTest, ListCutsTheProtocolsAtThirtyOneCharacters)
{
    std::vector<uint32_t> eight_icmp(8, 3);
    std::string text = "icmp,icmp,icmp,icmp,icmp,icmp,i";
    EXPECT_EQ(listed_protocols({eight_icmp, {1}, eight_icmp}), (Texts{text, text, text}));
}

TEST_F(ClassificationTest, ListPassesOverUnusedProtocolSlots)
{
    EXPECT_EQ(listed_protocols({{0, 1, 0, 0, 2, 0, 0, 3}}), (Texts{"tcp,udp,icmp"}));
    EXPECT_EQ(listed_protocols({{9}}), (Texts{""})) << "a protocol without a name";
}

TEST_F(ClassificationTest, ListBringsTheEntriesIntoLineAndMakesNoObjects)
{
    std::string objects = client().list("*");
    list(record(list_of({word(3), word(4)})));
    list(record(list_of({word(4), word(5)})));
    EXPECT_EQ(client().list("*"), objects);
    service().answer(kDelete, code(0));
    EXPECT_EQ(remove("3"), failure("not found"));
    EXPECT_EQ(remove("4"), kSuccess);
    EXPECT_EQ(remove("5"), kSuccess);
}

TEST_F(ClassificationTest, AFailedListLeavesTheEntries)
{
    list(record(list_of({word(3)})));
    service().answer_in_turn(kList, {code(1, list_of({word(4)})), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call("wexond.qos.classification", "list"), failure("failed to get qos classification list"));
    service().answer(kDelete, code(0));
    EXPECT_EQ(remove("4"), failure("not found"));
    EXPECT_EQ(remove("3"), kSuccess);
}

TEST_F(ClassificationTest, ListCutsItsCountAtWhatTheAnswerHolds)
{
    std::vector<Bytes> rules;
    for (uint32_t index = 1; index <= 32; index++)
        rules.push_back(word(index));
    std::string thirty_two = list(record(list_of(rules)));
    EXPECT_NE(thirty_two.find("{\"idx\": 32, "), std::string::npos);
    for (uint32_t count : {33u, 0xFFFFFFFFu})
        EXPECT_EQ(list(record(list_of(rules, count))), thirty_two) << count;
}

TEST_F(ClassificationTest, LogsItsCalls)
{
    service().answer_in_turn(kAdd, {code(0), code(7)});
    service().answer(kDelete, code(0));
    service().answer(kList, no_answer());
    std::string add_lines = entry_log("wexond_qos_classification_add", "wexond.qos.classification", "add") +
                            "[wexond_qos_classification_add.#]: priority:5 / dscp:46 / vlan8021p:-1 / name:voice / "
                            "protocol:udp / srcmac:00:1a:2b:3c:4d:5e / dstmac:001a2b3c4d5f \n\n";
    enable_log();
    add(kRule);
    EXPECT_EQ(take_log(), add_lines + "[wexond_qos_classification_add.#]: success ,  \n\n");
    add(kRule);
    EXPECT_EQ(take_log(), add_lines + "[wexond_check_ret.#]: Msg retcode = 7\n"
                                      "[wexond_qos_classification_add.#]: failed , failed to add qos classification "
                                      "\n\n");
    remove("0");
    EXPECT_EQ(take_log(), entry_log("wexond_qos_classification_delete", "wexond.qos.classification", "delete") +
                              "[wexond_qos_classification_delete.#]: idx:0 \n\n" + set_reply_log());
    call("wexond.qos.classification", "list");
    EXPECT_EQ(take_log(), entry_log("wexond_qos_classification_list", "wexond.qos.classification", "list") +
                              "[wexond_check_ret.#]: Msg return buf = NULL\n" +
                              get_reply_log("failed to get qos classification list"));
    disable_log();
    remove("0");
    EXPECT_EQ(take_log(), "");
}

} // namespace
