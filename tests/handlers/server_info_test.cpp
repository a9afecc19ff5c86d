// wexond.serverinfo: the operator's management servers.

#include "tests/support/daemon_test.h"

using namespace test_support;

namespace
{

constexpr uint32_t kGet = 165;
constexpr uint32_t kSet = 166;

constexpr size_t kMask = 1300;

// Backup slot i lies at 260 + 65 i.
constexpr size_t backup_slot(size_t i)
{
    return 260 + 65 * i;
}

struct Field {
    const char *name;
    size_t offset;
    uint32_t bit;
};

constexpr Field kFields[] = {{"bssaddr", 0, 1}, {"abiaddr", 65, 2}, {"devtoken", 130, 4}, {"devid", 195, 8}};

std::string argument(const std::string &name, const std::string &text)
{
    return "{\"" + name + "\": \"" + text + "\"}";
}

// A JSON object with a backup array of texts of these lengths.
std::string backup_argument(const std::vector<size_t> &lengths)
{
    std::string json = R"({"backup": [)";
    for (size_t i = 0; i < lengths.size(); i++)
        json += (i ? ", \"" : "\"") + std::string(lengths[i], static_cast<char>('a' + i)) + "\"";
    return json + "]}";
}

class ServerInfoTest : public HandlerTest
{
  protected:
    void SetUp() override
    {
        HandlerTest::SetUp();
        service().answer(kSet, code(0));
    }

    void expect_sent(std::string_view arguments, const Bytes &record)
    {
        EXPECT_EQ(call("wexond.serverinfo", "set", arguments), kSuccess);
        EXPECT_EQ(service().take_requests(), (Requests{{kSet, 4, record}}));
    }

    template <typename Message> void expect_refused(const Message &message, const std::string &name)
    {
        EXPECT_EQ(call("wexond.serverinfo", "set", message), failure("unrecognized parameter: " + name));
        EXPECT_EQ(service().take_requests(), Requests{});
    }
};

TEST_F(ServerInfoTest, SendsEveryField)
{
    expect_sent(R"({"bssaddr": "bss.example", "abiaddr": "abi.example", "devtoken": "t0ken", "devid": "dev-1",
                    "backup": ["one.example", "two.example"]})",
                Bytes(1304)
                    .text(0, "bss.example")
                    .text(65, "abi.example")
                    .text(130, "t0ken")
                    .text(195, "dev-1")
                    .text(backup_slot(0), "one.example")
                    .text(backup_slot(1), "two.example")
                    .u32(kMask, 31));
}

TEST_F(ServerInfoTest, MarksOnlyWhatIsGiven)
{
    for (const Field &field : kFields) {
        SCOPED_TRACE(field.name);
        expect_sent(argument(field.name, "x"), Bytes(1304).text(field.offset, "x").u32(kMask, field.bit));
        expect_sent(argument(field.name, ""), Bytes(1304).u32(kMask, field.bit));
    }
    expect_sent(R"({"backup": ["x"]})", Bytes(1304).text(backup_slot(0), "x").u32(kMask, 16));
    expect_sent(R"({"backup": []})", Bytes(1304).u32(kMask, 16));
}

TEST_F(ServerInfoTest, SendsARequestAlsoWithoutArguments)
{
    expect_sent("{}", Bytes(1304));
}

TEST_F(ServerInfoTest, TakesArgumentsOfAnotherTypeForAbsent)
{
    expect_sent(R"({"bssaddr": 1, "abiaddr": ["a"], "devtoken": true, "devid": "d", "backup": "b"})",
                Bytes(1304).text(195, "d").u32(kMask, 8));
}

TEST_F(ServerInfoTest, TakesTextsOf64CharactersAndRefuses65)
{
    for (const Field &field : kFields) {
        SCOPED_TRACE(field.name);
        std::string longest(64, 'x');
        expect_sent(argument(field.name, longest), Bytes(1304).text(field.offset, longest).u32(kMask, field.bit));
        expect_refused(argument(field.name, longest + "x"), field.name);
        expect_refused(argument(field.name, std::string(5000, 'x')), field.name);
    }
}

TEST_F(ServerInfoTest, RefusesTheFirstLongTextInOrder)
{
    std::string too_long = "\"" + std::string(65, 'x') + "\"";
    expect_refused(R"({"backup": [)" + too_long + R"(], "devid": )" + too_long + R"(, "abiaddr": )" + too_long + "}",
                   "abiaddr");
    expect_refused(R"({"backup": [)" + too_long + R"(], "devid": )" + too_long + "}", "devid");
    expect_refused(R"({"backup": [)" + too_long + "]}", "backup");
}

TEST_F(ServerInfoTest, TakesBackupTextsOf64CharactersAndRefuses65)
{
    expect_sent(backup_argument({64, 1, 64}), Bytes(1304)
                                                  .text(backup_slot(0), std::string(64, 'a'))
                                                  .text(backup_slot(1), "b")
                                                  .text(backup_slot(2), std::string(64, 'c'))
                                                  .u32(kMask, 16));
    expect_refused(backup_argument({65}), "backup");
    expect_refused(backup_argument({1, 1, 65}), "backup");
}

TEST_F(ServerInfoTest, TakesSixteenBackupsAndRefusesSeventeen)
{
    Bytes sixteen = Bytes(1304).u32(kMask, 16);
    for (size_t i = 0; i < 16; i++)
        sixteen.text(backup_slot(i), std::string(64, static_cast<char>('a' + i)));
    expect_sent(backup_argument(std::vector<size_t>(16, 64)), sixteen);
    expect_refused(backup_argument(std::vector<size_t>(17, 1)), "backup");
    expect_refused(backup_argument(std::vector<size_t>(17, 0)), "backup");
}

TEST_F(ServerInfoTest, SendsEmptyBackupsInTheirSlots)
{
    expect_sent(backup_argument({0, 1}), Bytes(1304).text(backup_slot(1), "b").u32(kMask, 16));
}

TEST_F(ServerInfoTest, RefusesBackupsThatAreNoTexts)
{
    for (const char *arguments : {R"({"backup": [1]})", R"({"backup": [null]})", R"({"backup": [true]})",
                                  R"({"backup": ["a", ["b"]]})", R"({"backup": ["a", {"b": "c"}]})"}) {
        SCOPED_TRACE(arguments);
        expect_refused(arguments, "backup");
    }
}

TEST_F(ServerInfoTest, StopsAtAMalformedBackup)
{
    std::string good = value(Type::string, "", terminated("good"));
    for (const std::string &malformed : {value(Type::string, "", "no end"), value(Type::string, "", ""),
                                         big_endian32(0x83000040) + std::string(8, 'x'), std::string("\x83")}) {
        RawMessage message{value(Type::array, "backup", good + malformed + good)};
        EXPECT_EQ(call("wexond.serverinfo", "set", message), kSuccess);
        EXPECT_EQ(service().take_requests(),
                  (Requests{{kSet, 4, Bytes(1304).text(backup_slot(0), "good").u32(kMask, 16)}}));
    }
}

TEST_F(ServerInfoTest, ReportsEveryField)
{
    service().answer(kGet, record(Bytes(1304)
                                      .text(0, "bss.example")
                                      .text(65, "abi.example")
                                      .text(130, "t0ken")
                                      .text(195, "dev-1")
                                      .text(backup_slot(0), "one.example")
                                      .text(backup_slot(1), "two.example")
                                      .u32(kMask, 31)));
    EXPECT_EQ(call("wexond.serverinfo", "get"),
              R"({"wexond.serverinfo": {"bssaddr": "bss.example", "abiaddr": "abi.example", "devtoken": "t0ken", )"
              R"("devid": "dev-1", "backup": ["one.example", "two.example"]}})");
    EXPECT_EQ(service().take_requests(), (Requests{{kGet, 1308}}));
}

TEST_F(ServerInfoTest, EndsTheBackupsAtTheFirstEmptySlot)
{
    Bytes third_empty(1304);
    for (size_t i : {0, 1, 3, 4, 15})
        third_empty.text(backup_slot(i), "server");
    service().answer(kGet, record(third_empty));
    EXPECT_EQ(call("wexond.serverinfo", "get"),
              R"({"wexond.serverinfo": {"bssaddr": "", "abiaddr": "", "devtoken": "", "devid": "", )"
              R"("backup": ["server", "server"]}})");
    service().answer(kGet, record(Bytes(1304).text(backup_slot(1), "server")));
    EXPECT_EQ(call("wexond.serverinfo", "get"),
              R"({"wexond.serverinfo": {"bssaddr": "", "abiaddr": "", "devtoken": "", "devid": "", "backup": []}})");
}

TEST_F(ServerInfoTest, KeepsFieldsThatAreFullApart)
{
    Bytes full(1304);
    ReplyFields expected;
    std::vector<ReplyValue> backups;
    char letter = 'A';
    for (const Field &field : kFields) {
        full.text(field.offset, std::string(65, letter));
        expected.push_back({field.name, std::string(65, letter++)});
    }
    for (size_t i = 0; i < 16; i++) {
        full.text(backup_slot(i), std::string(65, letter));
        backups.push_back(std::string(65, letter++));
    }
    full.u32(kMask, 0xFFFFFFFF);
    expected.push_back({"backup", array(backups)});
    service().answer(kGet, record(full));
    EXPECT_EQ(call("wexond.serverinfo", "get"), table({{"wexond.serverinfo", table(expected)}}));
}

TEST_F(ServerInfoTest, TakesWhatAShortAnswerLacksForEmpty)
{
    service().answer(kGet, record(Bytes(70).text(0, "bss").text(65, "abi.e")));
    EXPECT_EQ(call("wexond.serverinfo", "get"),
              R"({"wexond.serverinfo": {"bssaddr": "bss", "abiaddr": "abi.e", "devtoken": "", "devid": "", )"
              R"("backup": []}})");
}

TEST_F(ServerInfoTest, ReportsFailures)
{
    service().answer_in_turn(kSet, {code(1), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call("wexond.serverinfo", "set"), failure("failed to set serverinfo"));
    service().answer_in_turn(kGet, {code(1, Bytes(1304).text(0, "bss")), no_answer()});
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(call("wexond.serverinfo", "get"), failure("failed to get serverinfo"));
}

TEST_F(ServerInfoTest, LogsItsCalls)
{
    const std::string entry = entry_log("wexond_serverinfo_set", "wexond.serverinfo", "set");
    enable_log();
    call("wexond.serverinfo", "set",
         R"({"backup": ["one", "two"], "devid": "d", "devtoken": "t", "abiaddr": "a", "bssaddr": "b"})");
    EXPECT_EQ(take_log(), entry +
                              "[wexond_serverinfo_set.#]: bssaddr:b \n\n"
                              "[wexond_serverinfo_set.#]: abiaddr:a \n\n"
                              "[wexond_serverinfo_set.#]: devtoken:t \n\n"
                              "[wexond_serverinfo_set.#]: devid:d \n\n"
                              "[wexond_serverinfo_set.#]: backup[0]: one \n\n"
                              "[wexond_serverinfo_set.#]: backup[1]: two \n\n" +
                              set_reply_log());
    std::string too_long(65, 'x');
    call("wexond.serverinfo", "set", argument("abiaddr", too_long));
    EXPECT_EQ(take_log(), entry + "[wexond_serverinfo_set.#]: abiaddr:" + too_long + " \n\n" +
                              set_reply_log("unrecognized parameter: abiaddr"));
    call("wexond.serverinfo", "set");
    EXPECT_EQ(take_log(), entry + set_reply_log());
    service().answer_in_turn(kGet, {record(Bytes(1304)), code(5)});
    call("wexond.serverinfo", "get");
    EXPECT_EQ(take_log(), entry_log("wexond_serverinfo_get", "wexond.serverinfo", "get") + get_reply_log());
    call("wexond.serverinfo", "get");
    EXPECT_EQ(take_log(), entry_log("wexond_serverinfo_get", "wexond.serverinfo", "get") +
                              "[wexond_check_ret.#]: Msg retcode = 5\n" + get_reply_log("failed to get serverinfo"));
}

} // namespace
