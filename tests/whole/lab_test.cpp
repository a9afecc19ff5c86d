// The daemon with the lab's configuration service, used through the `ubus` tool as a person would.

#include "lab.h"

namespace
{

using LabTest = Lab;

TEST_F(LabTest, DescribesTheDevice)
{
    EXPECT_EQ(
        call("wexond.devinfo", "get"),
        R"({"wexond.devinfo":{"vendor":"KVQ","model":"KVQ-AX3000","hdversion":"V2.1","url":"http://192.168.10.1",)"
        R"("description":"AX3000 dual-band home router","devtype":"AP","swversion":"3.2.7-20240716",)"
        R"("ipaddr":"192.168.10.1","vpn":"yes","usb":"yes","dualband":"yes","mesh":1,"vunq":"HOME-AX3000",)"
        R"("ifversion":"V3.0","mac":"00005E005310","sn":"KVQAX3000240716000123400005E005310",)"
        R"("lanports":[1,2,3],"wanports":[4],"suggestworkmode":"any","workmode":"router","wireless":"no",)"
        R"("triband":"no"}})");
    EXPECT_EQ(call("wexond.devinfo.ext", "get"),
              R"({"wexond.devinfo.ext":{"wifispec":"11a/11b/11g/11n/11ac/11ax","wanmaxrate":1000000,)"
              R"("wifimaxrate":2976000,"lanmaxrate":[1000000,1000000,1000000]}})");
}

TEST_F(LabTest, SwitchesTheLeds)
{
    EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch":{"status":"on"}})");
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status":"off"})"), kSuccess);
    EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch":{"status":"off"}})");
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status":"on"})"), kSuccess);
    EXPECT_EQ(ubus({"call", "wexond.ledswitch", "get"}),
              "{\n\t\"wexond.ledswitch\": {\n\t\t\"status\": \"on\"\n\t}\n}");
}

TEST_F(LabTest, MovesTheIptvVlan)
{
    EXPECT_EQ(call("wexond.iptv", "get"), R"({"wexond.iptv":{"vlanid":43,"ethport":[3],"2.4G":[],"5G":[],"5G-2":[]}})");
    EXPECT_EQ(call("wexond.iptv", "set", R"({"enable":"yes","vlanid":85,"ethport":[1,3],"2.4G":[0],"5G":[]})"),
              kSuccess);
    EXPECT_EQ(call("wexond.iptv", "get"),
              R"({"wexond.iptv":{"vlanid":85,"ethport":[1,3],"2.4G":[0],"5G":[],"5G-2":[]}})");
}

TEST_F(LabTest, ChangesOnlyTheServersThatAreGiven)
{
    EXPECT_EQ(call("wexond.serverinfo", "set", R"({"abiaddr":"https://abi.example","backup":["https://b.example"]})"),
              kSuccess);
    EXPECT_EQ(call("wexond.serverinfo", "get"),
              R"({"wexond.serverinfo":{"bssaddr":"https://bss.operator.example","abiaddr":"https://abi.example",)"
              R"("devtoken":"b6f1c2a99e4d4d0f","devid":"HOME-AX3000-00001234","backup":["https://b.example"]}})");
    EXPECT_EQ(call("wexond.serverinfo", "set", R"({"bssaddr":"","devtoken":"new","devid":"box","backup":[]})"),
              kSuccess);
    EXPECT_EQ(call("wexond.serverinfo", "get"), R"({"wexond.serverinfo":{"bssaddr":"","abiaddr":"https://abi.example",)"
                                                R"("devtoken":"new","devid":"box","backup":[]}})");
}

TEST_F(LabTest, SwitchesTheWorkMode)
{
    auto mode = [this] {
        std::string reply = call("wexond.devinfo", "get");
        size_t start = reply.find(R"("workmode")");
        return reply.substr(start, reply.find(R"(,"triband")") - start);
    };
    EXPECT_EQ(call("wexond.devinfo", "set", R"({"workmode":"bridge"})"), kSuccess);
    EXPECT_EQ(mode(), R"("workmode":"bridge","wireless":"no")");
    EXPECT_EQ(call("wexond.devinfo", "set", R"({"workmode":"repeater"})"), failure("unrecognized parameter: workmode"));
    EXPECT_EQ(mode(), R"("workmode":"bridge","wireless":"no")");
    EXPECT_EQ(call("wexond.devinfo", "set", R"({"workmode":"router"})"), kSuccess);
    EXPECT_EQ(mode(), R"("workmode":"router","wireless":"no")");
}

TEST_F(LabTest, HearsTheNeighbours)
{
    auto neighbour = [](const char *band, const char *ssid, const char *bssid, const char *channel, const char *rssi,
                        const char *standard) {
        return std::string(R"({"band":")") + band + R"(","ssid":")" + ssid + R"(","bssid":")" + bssid +
               R"(","networktype":"AP","channel":)" + channel + R"(,"rssi":)" + rssi + R"(,"standard":")" + standard +
               "\"}";
    };
    EXPECT_EQ(call("wexond.neighbourinfo", "get"),
              R"({"wexond.neighbourinfo":[)" +
                  neighbour("2.4G", "The Millers", "00005E0053A1", "1", "-62", "11b/11g/11n") + "," +
                  neighbour("2.4G", "Upstairs", "00005E0053A2", "11", "-71", "11g/11n/11ax") + "," +
                  neighbour("2.4G", "Corner Cafe", "00005E0053A3", "6", "-84", "11b/11g/11n/11ax") + "," +
                  neighbour("5G", "The Millers 5G", "00005E0053B1", "36", "-70", "11a/11n/11ac") + "," +
                  neighbour("5G", "Upstairs", "00005E0053B2", "149", "-77", "11a/11n/11ac/11ax") + "]}");
}

TEST_F(LabTest, PassesCommandsOn)
{
    EXPECT_EQ(call("wexond", "upgrade",
                   R"({"downurl":"http://host/image.bin","filesize":7340032,"chksum":"d41d8cd9","isreboot":"0"})"),
              kSuccess);
    EXPECT_NE(state().find("http://host/image.bin"), std::string::npos);
    EXPECT_NE(state().find("7340032"), std::string::npos);
    EXPECT_EQ(call("wexond", "reboot"), kSuccess);
    EXPECT_NE(state().find(R"("reboots": 1)"), std::string::npos);
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status":"off"})"), kSuccess);
    EXPECT_EQ(call("wexond", "reset"), kSuccess);
    EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch":{"status":"on"}})") << "as it ships";
}

TEST_F(LabTest, TheServiceKeepsItsStateOverARestart)
{
    EXPECT_EQ(call("wexond.ledswitch", "set", R"({"status":"off"})"), kSuccess);
    EXPECT_EQ(call("wexond.iptv", "set", R"({"enable":"yes","vlanid":7,"ethport":[2],"2.4G":[],"5G":[1]})"), kSuccess);
    EXPECT_EQ(call("wexond.serverinfo", "set", R"({"devid":"kept"})"), kSuccess);
    EXPECT_EQ(call("wexond.devinfo", "set", R"({"workmode":"bridge"})"), kSuccess);
    stop_service();
    EXPECT_EQ(call("wexond.ledswitch", "get"), failure("failed to get ledswitch"));
    EXPECT_EQ(call("wexond.iptv", "get"), failure("failed to get iptv"));
    EXPECT_EQ(call("wexond.devinfo", "get"), failure("failed to get devinfo"));
    start_service();
    EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch":{"status":"off"}})");
    EXPECT_EQ(call("wexond.iptv", "get"), R"({"wexond.iptv":{"vlanid":7,"ethport":[2],"2.4G":[],"5G":[1],"5G-2":[]}})");
    EXPECT_NE(call("wexond.serverinfo", "get").find(R"("devid":"kept")"), std::string::npos);
    EXPECT_NE(call("wexond.devinfo", "get").find(R"("workmode":"bridge")"), std::string::npos);
}

TEST_F(LabTest, PublishesTheEntriesOfTheHome)
{
    // Answered only once start-up, which creates them, is over.
    EXPECT_EQ(call("wexond.ledswitch", "get"), R"({"wexond.ledswitch":{"status":"on"}})");
    EXPECT_EQ(ubus({"list", "wexond.wifi.1.ap.*"}), "wexond.wifi.1.ap.1\nwexond.wifi.1.ap.2\nwexond.wifi.1.ap.3");
    EXPECT_EQ(ubus({"list", "wexond.wifi.2.ap.*"}), "wexond.wifi.2.ap.1\nwexond.wifi.2.ap.2");
    EXPECT_EQ(ubus({"list", "wexond.wifi.timer.*"}), "wexond.wifi.timer.1\nwexond.wifi.timer.2\nwexond.wifi.timer.3");
    EXPECT_EQ(ubus({"list", "wexond.filter.url.*"}), "wexond.filter.url.1\nwexond.filter.url.2");
    EXPECT_EQ(ubus({"list", "wexond.filter.dns.*"}), "wexond.filter.dns.1\nwexond.filter.dns.3");
}

TEST_F(LabTest, TellsWhatIsMissing)
{
    EXPECT_EQ(call("wexond.ledswitch", "set"), failure("required parameter: status"));
    EXPECT_EQ(call("wexond", "upgrade", R"({"downurl":"http://host","chksum":"c"})"),
              failure("required parameter: filesize"));
    EXPECT_EQ(ubus({"call", "wexond.ledswitch", "toggle"}),
              "status 253: Command failed: ubus call wexond.ledswitch toggle (Method not found)");
    EXPECT_EQ(ubus({"call", "wexond.toaster", "get"}), "status 4: Command failed: Not found");
}

} // namespace
