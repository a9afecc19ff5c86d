// The answers of orvcd, byte by byte, from its default home.

#include "process.h"

namespace
{

const std::string kOk = word(0);

struct OrvcdAnswers : testing::Test {
    Process orvcd;
    std::unique_ptr<Client> client;

    void SetUp() override
    {
        orvcd.start({"--state", orvcd.file("state.json")});
        client = std::make_unique<Client>(orvcd.socket());
    }
    // From here on what is sent is no setting that a router would take.
    void be_lenient()
    {
        client.reset();
        orvcd.end();
        orvcd.start({"--state", orvcd.file("state.json"), "--lenient"});
        client = std::make_unique<Client>(orvcd.socket());
    }
    std::string state() const { return read_file(orvcd.file("state.json")); }
};

TEST_F(OrvcdAnswers, DeviceInformation)
{
    EXPECT_EQ(client->record(0), std::string(Image(352)
                                                 .text(0, "KVQ")
                                                 .text(16, "KVQ-AX3000")
                                                 .text(48, "V2.1")
                                                 .text(80, "http://192.168.10.1")
                                                 .words(188, {1000, 1000, 1000, 0, 1000})
                                                 .text(256, "AX3000 dual-band home router")
                                                 .words(328, {1 + 2 + 8 + 32, 0, 4 + 8 + 16 + 32, 0, 574, 2402})));
    EXPECT_EQ(client->record(1), std::string(Image(160).text(0, "3.2.7-20240716")));
    EXPECT_EQ(client->record(2), std::string(Image(96).text(0, "00:00:5E:00:53:10")));
    EXPECT_EQ(client->record(3), std::string(Image(96).text(80, "192.168.10.1")));
    EXPECT_EQ(client->record(4), std::string(Image(32).words(0, {0, 1, 1, 1, 0, 0, 0, 1})));
    EXPECT_EQ(client->record(23), std::string(Image(20).words(0, {1, 0, 0, 1, 0})));
    EXPECT_EQ(client->record(164),
              std::string(Image(72).text(0, "HOME-AX3000").text(16, "KVQAX30002407160001234").text(51, "V3.0")));
}

TEST_F(OrvcdAnswers, PortLayoutWithAndWithoutRecord)
{
    const std::string layout = Image(48).words(0, {3, 1, 2, 3}).words(36, {1, 4});
    EXPECT_EQ(client->record(91), layout);
    EXPECT_EQ(client->record(91, std::string(48, '\0')), layout);
}

TEST_F(OrvcdAnswers, WanStatusFollowsWorkMode)
{
    Image status(168);
    status.words(0, {1, 1})
        .text(8, "203.0.113.24")
        .text(24, "255.255.255.0")
        .text(40, "203.0.113.1")
        .text(88, "192.0.2.53")
        .text(104, "198.51.100.53");
    EXPECT_EQ(client->record(24), std::string(status));
    EXPECT_EQ(client->ask(34, word(1)), kOk);
    EXPECT_EQ(client->record(24).substr(0, 4), word(4));
    EXPECT_EQ(client->ask(28, word(1500)), kOk);
    EXPECT_EQ(client->record(24).substr(0, 4), word(1));
}

TEST_F(OrvcdAnswers, LedSwitch)
{
    EXPECT_EQ(client->record(20), word(1));
    be_lenient();
    for (uint32_t code : {0u, 1u, 7u, UINT32_MAX}) {
        EXPECT_EQ(client->ask(21, word(code)), kOk);
        EXPECT_EQ(client->record(20), word(code));
    }
}

TEST_F(OrvcdAnswers, Iptv)
{
    EXPECT_EQ(client->record(137), std::string(Image(36).words(0, {1, 43, 8})));
    be_lenient();
    const std::string rows[] = {
        Image(36).words(0, {0, 10, 0xa, 1, 0, 0, 0, 0, 0}),
        Image(36).words(0, {1, 0, 0, 0, 0, 4095, 0xffffffff, 0x80000001, 5}),
        Image(36).words(0, {9, 8, 7, 6, 5, 4, 3, 2, 1}),
        Image(36),
    };
    for (const std::string &record : rows) {
        EXPECT_EQ(client->ask(138, record), kOk);
        EXPECT_EQ(client->record(137), record);
    }
}

TEST_F(OrvcdAnswers, ServerInformationTakesGivenFieldsOnly)
{
    Image info(1304);
    info.text(0, "https://bss.operator.example")
        .text(65, "https://abi.operator.example")
        .text(130, "b6f1c2a99e4d4d0f")
        .text(195, "HOME-AX3000-00001234")
        .text(260, "https://bss2.operator.example")
        .text(325, "https://bss3.operator.example");
    EXPECT_EQ(client->record(165), std::string(info));

    const std::string full(65, 't');
    EXPECT_EQ(client->ask(166, Image(1304).text(0, "not given").text(130, full).words(1300, {4})), kOk);
    EXPECT_EQ(client->record(165), std::string(info.text(130, full)));

    Image backup(1304);
    backup.text(260, "first").text(260 + 2 * 65, "third").text(260 + 15 * 65, "last").words(1300, {16});
    EXPECT_EQ(client->ask(166, backup), kOk);
    info.text(260, std::string(16 * 65, '\0')).text(260, "first").text(260 + 2 * 65, "third");
    EXPECT_EQ(client->record(165), std::string(info.text(260 + 15 * 65, "last")));

    EXPECT_EQ(client->ask(166, Image(1304).text(0, "ignored")), kOk);
    EXPECT_EQ(client->record(165), std::string(info));
}

// A text may hold any bytes: words cut within a character, and what is no UTF-8 at all.
TEST_F(OrvcdAnswers, KeepsTextsToTheByte)
{
    const std::string texts[] = {"gr\xc3\xbc\xc3\x9f", "cut\xe4\xbd",       "\xff\xfe\x80",
                                 "\"\\\n\x01\x7f",     "{\"hex\": \"00\"}", ""};
    for (const std::string &text : texts) {
        EXPECT_EQ(client->ask(166, Image(1304).text(195, text).words(1300, {8})), kOk);
        EXPECT_EQ(client->record(165).substr(195, 65), std::string(Image(65).text(0, text)));
    }
}

TEST_F(OrvcdAnswers, Neighbours)
{
    EXPECT_EQ(client->record(195, Image(8)),
              std::string(Image(2952)
                              .words(4, {3})
                              .text(8, "The Millers")
                              .text(41, "00:00:5E:00:53:A1")
                              .words(76, {1, static_cast<uint32_t>(-62), 1 + 2 + 8})
                              .text(100, "Upstairs")
                              .text(133, "00:00:5E:00:53:A2")
                              .words(168, {11, static_cast<uint32_t>(-71), 2 + 8 + 32})
                              .text(192, "Corner Cafe")
                              .text(225, "00:00:5E:00:53:A3")
                              .words(260, {6, static_cast<uint32_t>(-84), 1 + 2 + 8 + 32})));
    EXPECT_EQ(client->record(195, word(1) + word(0)).substr(0, 8), word(0) + word(2));
    EXPECT_NE(client->ask(195, word(2) + word(0)), kOk);
}

TEST_F(OrvcdAnswers, RadioWithNumberOfAccessPoints)
{
    EXPECT_EQ(client->record(181, Image(48)),
              std::string(Image(48).words(0, {0, 1, 2, 0, 6, 1, 1 + 2 + 8 + 32, 0, 4, 35})));
    EXPECT_EQ(client->record(181, Image(48).words(0, {1})),
              std::string(Image(48).words(0, {1, 1, 2, 44, 44, 3, 4 + 8 + 16 + 32, 0, 4, 12})));
    EXPECT_EQ(client->ask(181, Image(48).words(0, {2})).size(), 4u);
    EXPECT_NE(client->ask(181, Image(48).words(0, {2})), kOk);
}

TEST_F(OrvcdAnswers, AccessPoint)
{
    EXPECT_EQ(client->record(185, Image(200).words(0, {0, 3})), std::string(Image(200)
                                                                                .words(0, {0, 3, 0})
                                                                                .text(12, "Birch Lane 7 Things")
                                                                                .text(76, "00:00:5E:00:53:13")
                                                                                .words(108, {6, 4})
                                                                                .text(116, "lamps and plugs")
                                                                                .words(180, {1})));
    EXPECT_EQ(client->record(185, Image(200).words(0, {1, 1})).substr(0, 47),
              word(1) + word(1) + word(1) + std::string(Image(35).text(0, "Birch Lane 7 5G")));
}

TEST_F(OrvcdAnswers, AccessPointsThatNobodyConfigured)
{
    EXPECT_EQ(client->record(185, Image(200).words(0, {0, 4})),
              std::string(Image(200).words(0, {0, 4, 0}).text(12, "KVQ_4").text(76, "00:00:5E:00:53:14")));
    EXPECT_EQ(client->record(185, Image(200).words(0, {1, 3})),
              std::string(Image(200).words(0, {1, 3, 0}).text(12, "KVQ_5G_3").text(76, "00:00:5E:00:53:23")));
}

TEST_F(OrvcdAnswers, NoAccessPointOfAnotherIndexOrBand)
{
    for (const std::vector<uint32_t> &words : {std::vector<uint32_t>{0, 0}, {0, 5}, {2, 1}, {UINT32_MAX, UINT32_MAX}}) {
        std::string body = client->ask(185, Image(200).words(0, words));
        EXPECT_EQ(body.size(), 4u);
        EXPECT_NE(body, kOk);
    }
}

TEST_F(OrvcdAnswers, WifiTimers)
{
    EXPECT_EQ(client->record(98), std::string(Image(1156)
                                                  .words(0, {3})
                                                  .words(4, {1, 1, 1, 1, 23, 30, 0, 0, 1})
                                                  .words(40, {2, 1, 1, 1, 6, 15, 0, 0, 2})
                                                  .words(76, {3, 1, 0, 1, 22, 0, 0, 0, 32})));
}

TEST_F(OrvcdAnswers, UrlFilters)
{
    EXPECT_EQ(client->record(206), std::string(Image(67844)
                                                   .words(0, {2})
                                                   .words(4, {1, 1})
                                                   .text(12, "video.example")
                                                   .text(44, "games.example")
                                                   .text(76, "chat.example")
                                                   .text(1036, "Homework hours")
                                                   .text(1068, "00:00:5E:00:53:31")
                                                   .text(1100, "00:00:5E:00:53:32")
                                                   .words(2092, {1, 2 + 4 + 8 + 16, 54000, 63000, 72000, 86400})
                                                   .words(2124, {2, 0})
                                                   .text(2132, "ads.example")
                                                   .text(3156, "Television")
                                                   .text(3188, "00:00:5E:00:53:41")
                                                   .words(4212, {0, 127, 0, 86400})));
}

TEST_F(OrvcdAnswers, DnsFilters)
{
    EXPECT_EQ(client->record(211), std::string(Image(36228)
                                                   .words(0, {2})
                                                   .words(4, {1, 1})
                                                   .text(12, "social.example")
                                                   .text(44, "stream.example")
                                                   .text(1036, "Tablet at night")
                                                   .text(1068, "00:00:5E:00:53:33")
                                                   .words(1100, {1, 0, 127, 75600, 86400})
                                                   .words(1136, {3, 1})
                                                   .text(1144, "cloud.camera.example")
                                                   .text(2168, "Camera stays home")
                                                   .text(2200, "00:00:5E:00:53:42")
                                                   .words(2232, {0, 0, 64 + 1})));
}

TEST_F(OrvcdAnswers, FactoryFlag)
{
    EXPECT_EQ(client->record(239), word(1));
}

TEST_F(OrvcdAnswers, NotesCommands)
{
    EXPECT_EQ(client->ask(16, word(0)), kOk);
    EXPECT_EQ(client->ask(16, word(0)), kOk);
    EXPECT_EQ(client->ask(19, Image(456)
                                  .text(0, "http://firmware.example/new.bin")
                                  .words(384, {8388608})
                                  .text(388, std::string(64, 'c'))
                                  .words(452, {1})),
              kOk);
    const std::string notes = state();
    EXPECT_NE(notes.find("\"reboots\": 2,"), std::string::npos);
    EXPECT_NE(notes.find("\"upgrades\": 1,"), std::string::npos);
    EXPECT_NE(notes.find("\"url\": \"http://firmware.example/new.bin\",\n      \"file_size\": 8388608,\n"
                         "      \"checksum\": \"" +
                         std::string(64, 'c') + "\",\n      \"reboot\": true\n"),
              std::string::npos);
}

TEST_F(OrvcdAnswers, ResetRestoresDefaultHome)
{
    const std::string info = client->record(165);
    client->ask(21, word(0));
    client->ask(34, word(1));
    client->ask(166, Image(1304).text(0, "elsewhere").words(1300, {31}));
    EXPECT_EQ(client->ask(17), kOk);
    EXPECT_EQ(client->record(20), word(1));
    EXPECT_EQ(client->record(24).substr(0, 4), word(1));
    EXPECT_EQ(client->record(165), info);
    EXPECT_NE(state().find("\"resets\": 1,"), std::string::npos);
}

TEST_F(OrvcdAnswers, ChannelScanChangesScoresOfItsBand)
{
    const std::string before = state();
    size_t five = before.find("\"5 GHz\": {");
    EXPECT_EQ(client->ask(60, Image(264).words(0, {1}), 0), kOk);
    const std::string after = state();
    EXPECT_EQ(after.substr(0, five), before.substr(0, five)) << "the 2.4 GHz radio has other scores";
    EXPECT_NE(after.substr(five), before.substr(five));
    EXPECT_EQ(client->ask(60, Image(264).words(0, {1}), 0), kOk);
    EXPECT_NE(state(), after);
    EXPECT_NE(client->ask(60, Image(264).words(0, {2}), 0), kOk);
}

TEST_F(OrvcdAnswers, RefusesUnknownTypesAndTellsSo)
{
    for (uint32_t type : {248u, 255u, 256u, 1000u, UINT32_MAX}) {
        std::string body = client->ask(type, "abc");
        EXPECT_EQ(body.size(), 4u);
        EXPECT_NE(body, kOk);
        EXPECT_NE(orvcd.errors().find("orvcd: unknown message type " + std::to_string(type) +
                                      " (flag 1, 3 bytes, 4 expected)\n"),
                  std::string::npos);
    }
    EXPECT_EQ(client->record(20), word(1));
}

TEST_F(OrvcdAnswers, RefusesRecordsOfAnotherLength)
{
    const std::pair<uint32_t, size_t> rows[] = {{16, 4},   {19, 456},   {21, 4},   {28, 4},    {34, 4}, {60, 264},
                                                {138, 36}, {166, 1304}, {181, 48}, {185, 200}, {195, 8}};
    const std::string before = state();
    for (auto [type, length] : rows) {
        for (size_t wrong : {size_t{0}, length - 1, length + 1}) {
            std::string body = client->ask(type, std::string(wrong, '\0'));
            EXPECT_EQ(body.size(), 4u);
            EXPECT_NE(body, kOk) << "type " << type << ", " << wrong << " bytes";
        }
    }
    EXPECT_EQ(state(), before);
}

} // namespace
