#include "daemonProcess.h"
#include "syslogCapture.h"
#include "unixSocket.h"

#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <random>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace zvtest;
using std::chrono::milliseconds;

constexpr const char* ble = "/to_ble";
constexpr const char* reply = "/to_ZVCC12";
constexpr const char* file = "/tmp/fuse_d/MISC/ble_whitelist.json";

constexpr const char* scenario = R"({"ble":{"pairing_ms":200,"connect_ms":100,
    "devices":[{"address":"a1b2c3d4e5f6","address_type":1,"name":"One","uuid16":["180d"],"found_after_ms":50,
                "rssi":-60,"rssi_variation":0}],
    "whitelist":[{"address":"000000000001","name":"Old"}]}})";

Bytes statusReply(std::uint8_t status) {
    return {0x00, 0x0d, 0x00, 0x03, 0x00, 0x00, 0x01, 0x45, status, 0x00, 0x00, 0x00, 0xee};
}
Bytes byteReply(std::uint8_t value) {
    return {0x00, 0x0e, 0x00, 0x03, 0x00, 0x00, 0x02, 0x45, 0x00, value, 0x00, 0x00, 0x00, 0xee};
}

// A client with its queue.
struct Client {
    TestQueue answers{reply};
    std::optional<Bytes> ask(const Bytes& data, milliseconds wait = milliseconds(5000)) {
        EXPECT_TRUE(sendTo(ble, request("BL", data, reply, ble)));
        return answers.receive(wait);
    }
    // The data of a page; empty when there is no good reply.
    Bytes page(const Bytes& data) {
        const auto decoded = zvcamera::decodeMessage(ask(data).value_or(Bytes()));
        const zvcamera::Element* element = decoded.message.find(69);
        return element == nullptr ? Bytes() : element->data;
    }
    std::uint8_t waitForPairing(std::uint8_t end) {
        std::uint8_t status = 0xff;
        for (int i = 0; i < 500 && status != end; ++i) {
            status = ask({9}).value_or(Bytes(14, 0xff))[9];
            std::this_thread::sleep_for(milliseconds(10));
        }
        return status;
    }
};

const Bytes pairOne{2, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1};

TEST(ZvBleD, AnswersARequestGivenInBytes) {
    DaemonProcess daemon("zvBleD");
    TestQueue answers(reply);
    const Bytes getConfiguration{0x00, 0x2c, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41, 'B', 'L', 0x00, 0x00, 0x01, 0x42, 0x0a,
                                 0x00, 0x00, 0x0a, 0x44, '/',  't',  'o',  '_',  'Z', 'V', 'C',  'C',  '1',  '2',  0x00,
                                 0x00, 0x07, 0x43, '/',  't',  'o',  '_',  'b',  'l', 'e', 0x00, 0x00, 0x00, 0xee};
    ASSERT_EQ(0x2cU, getConfiguration.size());
    ASSERT_TRUE(sendTo(ble, getConfiguration));
    EXPECT_EQ(byteReply(1), answers.receive());
}

TEST(ZvBleD, RefusesWhatItDoesNotKnow) {
    DaemonProcess daemon("zvBleD");
    Client client;
    EXPECT_EQ(statusReply(1), client.ask({5}));
    EXPECT_EQ(statusReply(1), client.ask({}));
    EXPECT_EQ(statusReply(2), client.ask({9, 9}));
    ASSERT_TRUE(sendTo(ble, request("PD", {1, 3}, reply, ble)));
    EXPECT_EQ(statusReply(1), client.answers.receive());
}

TEST(ZvBleD, FindsPairsAndRemembersADevice) {
    {
        DaemonProcess daemon("zvBleD", scenario);
        Client client;
        EXPECT_EQ(statusReply(0), client.ask({1, 1}));
        Bytes page;
        for (int i = 0; i < 200 && (page.size() < 3 || page[2] == 0); ++i) {
            page = client.page({4, 0, 15});
            std::this_thread::sleep_for(milliseconds(5));
        }
        const Bytes found{0,    1,  1, 0, 1, 0xf6, 0xe5, 0xd4, 0xc3, 0xb2, 0xa1, 1,
                          0xc4, 14, 3, 0, 0, 17,   2,    'O',  'n',  'e',  0x0d, 0x18};
        ASSERT_EQ(1U + 4 + 82, page.size());
        EXPECT_EQ(Bytes(page.begin(), page.begin() + static_cast<long>(found.size())), found);
        EXPECT_EQ(statusReply(0), client.ask(pairOne));
        EXPECT_EQ(byteReply(1), client.ask({9}));
        EXPECT_EQ(2, client.waitForPairing(2));
        EXPECT_EQ(statusReply(0), client.ask({7, 0, 0, 1, 0, 0, 0, 0, 0}));
        EXPECT_EQ(statusReply(0), client.ask({8, 0, 0}));
        EXPECT_EQ(0, daemon.end(SIGTERM));
    }
    DaemonProcess daemon("zvBleD", scenario); // the file counts, not the scenario's whitelist
    Client client;
    const Bytes page = client.page({6, 0, 255});
    ASSERT_EQ(1U + 4 + 2 * 41, page.size());
    EXPECT_EQ(2, page[2]);
    EXPECT_EQ(0, page[5 + 6] & 0x40);         // the removed device's slot
    EXPECT_EQ(0xf6, page[5 + 41]);            // the paired one
    EXPECT_EQ(0x50, page[5 + 41 + 6] & 0x50); // in use, auto connect
    EXPECT_EQ(byteReply(0), client.ask({10}));
    daemon.call("whitelist_reset");
    EXPECT_EQ(1, client.page({6, 0, 255})[2]);
}

TEST(ZvBleD, APairingEndsAndIsKeptWithoutAnybodyAsking) {
    DaemonProcess daemon("zvBleD", scenario);
    Client client;
    EXPECT_EQ(statusReply(0), client.ask(pairOne));
    for (int i = 0; i < 500 && access(file, F_OK) != 0; ++i) {
        std::this_thread::sleep_for(milliseconds(10));
    }
    EXPECT_EQ(-SIGKILL, daemon.end(SIGKILL));
    std::ifstream kept(file);
    const zvcamera::Json json = zvcamera::Json::parse(kept);
    EXPECT_EQ("a1b2c3d4e5f6", json.at("slots")[1].at("address"));
}

TEST(ZvBleD, ABrokenWhitelistFileIsLoggedAndTheScenarioCounts) {
    SyslogCapture log;
    ASSERT_EQ(0, std::system("mkdir -p /tmp/fuse_d/MISC && echo '{' > /tmp/fuse_d/MISC/ble_whitelist.json"));
    DaemonProcess daemon("zvBleD", scenario);
    Client client;
    EXPECT_EQ(1, client.page({6, 0, 255})[2]);
    EXPECT_THAT(log.texts(), testing::Contains(testing::HasSubstr("whitelist not read, /tmp/fuse_d/MISC/")));
}

TEST(ZvBleD, AStorageThatCannotBeWrittenIsLoggedAndTheRadioGoesOn) {
    SyslogCapture log;
    DaemonProcess daemon("zvBleD", scenario, {"--storage", "/proc/none"});
    Client client;
    EXPECT_EQ(statusReply(0), client.ask({8, 0, 0}));
    EXPECT_EQ(byteReply(0), client.ask({10}));
    EXPECT_THAT(log.texts(), testing::Contains(testing::HasSubstr("whitelist not saved")));
}

TEST(ZvBleD, EveryValueIsSeenAndSetByTheTool) {
    DaemonProcess daemon("zvBleD", scenario);
    Client client;
    daemon.call("ble_set", {{"settings", {{"auto_connect", 7}, {"whitelist_page", 1}, {"seed", 9}}}});
    EXPECT_EQ(byteReply(7), client.ask({10}));
    daemon.call("whitelist_set",
                {{"slot", {{"address", "0a0b0c0d0e0f"}, {"name", "New"}, {"mitm", 1}, {"connected", 1}}}});
    EXPECT_EQ(client.page({6, 0, 255}), client.page({6, 0, 1})); // pages of one
    const Bytes page = client.page({6, 1, 255});
    EXPECT_EQ((Bytes{0x0f, 0x0e, 0x0d, 0x0c, 0x0b, 0x0a, 0x4a, 0}), Bytes(page.begin() + 5, page.begin() + 13));
    daemon.call("connection", {{"address", "0a0b0c0d0e0f"}, {"connected", false}});
    EXPECT_EQ(0x48, client.page({6, 1, 255})[11]);
    daemon.call("whitelist_remove", {{"address", "0a0b0c0d0e0f"}});
    EXPECT_EQ(0, client.page({6, 1, 255})[11] & 0x40);
    daemon.call("rebuild", {{"list", "whitelist"}, {"id", 200}});
    EXPECT_EQ(200, client.page({6, 0, 1})[1]);
    daemon.call("rebuild", {{"list", "scan"}});
    EXPECT_EQ(1, client.page({4, 0, 1})[1]);
    daemon.call("pairing_status", {{"status", 77}});
    EXPECT_EQ(byteReply(77), client.ask({9}));
    daemon.call("pairing_start", {{"address", "000000000077"}});
    daemon.call("pairing_end", {{"outcome", "failure"}});
    EXPECT_EQ(byteReply(3), client.ask({9}));
    daemon.call("device_set", {{"device", {{"address", "a1b2c3d4e5f6"}, {"rssi", -20}}}});
    daemon.call("scan", {{"mode", 2}});
    const zvcamera::Json state = daemon.call("ble");
    EXPECT_EQ(-20, state.at("devices")[0].at("rssi"));
    EXPECT_EQ("One", state.at("devices")[0].at("name")); // what was not named stays
    EXPECT_EQ(2, state.at("scan").at("mode"));
    EXPECT_EQ(9, state.at("settings").at("seed"));
    daemon.call("device_remove", {{"address", "a1b2c3d4e5f6"}});
    EXPECT_TRUE(daemon.call("ble").at("devices").empty());
}

TEST(ZvBleD, RefusesTheToolsWrongValues) {
    DaemonProcess daemon("zvBleD", scenario);
    const std::vector<std::pair<const char*, zvcamera::Json>> wrong{
        {"ble_set", {{"settings", {{"foo", 1}}}}},
        {"ble_set", zvcamera::Json::object()},
        {"ble_set", {{"settings", {{"auto_connect", 256}}}}},
        {"device_set", {{"device", {{"address", "zz"}}}}},
        {"device_remove", {{"address", "000000000099"}}},
        {"whitelist_set", {{"slot", nullptr}}},
        {"whitelist_remove", {{"address", 5}}},
        {"scan", {{"mode", 256}}},
        {"rebuild", {{"list", "other"}}},
        {"pairing_end", {{"outcome", "success"}}},
        {"pairing_end", {{"outcome", 5}}},
        {"connection", {{"address", "000000000099"}, {"connected", true}}},
        {"fault_add", {{"command", "scan"}, {"fault", "none"}}},
        {"fault_remove", {{"id", 99}}},
        {"fault_remove", zvcamera::Json::object()},
        {"trace", {{"after", "x"}}},
    };
    for (const auto& [op, arguments] : wrong) {
        EXPECT_THROW(daemon.call(op, arguments), std::runtime_error) << op << arguments;
    }
    EXPECT_EQ(1U, daemon.call("ble").at("whitelist").at("slots").size());
}

TEST(ZvBleD, SpoilsRepliesOnDemand) {
    DaemonProcess daemon("zvBleD", R"({"ble":{"whitelist_page":2,
        "whitelist":[{"address":"000000000001"},{"address":"000000000002"},{"address":"000000000003"}]},
        "faults":[{"command":"whitelist_list","fault":"list_id","count":1},
                  {"command":"config_get","fault":"missing","count":1}]})");
    Client client;
    const std::uint8_t id = client.page({6, 0, 255})[1];
    EXPECT_EQ(id + 1, client.page({6, 2, 1})[1]);
    EXPECT_EQ(id + 1, client.page({6, 0, 255})[1]);
    EXPECT_EQ(id + 1, client.page({6, 2, 1})[1]);
    EXPECT_EQ(std::nullopt, client.ask({10}, milliseconds(100)));
    EXPECT_EQ(byteReply(1), client.ask({10}));
    daemon.call("fault_add", {{"command", "config_set"}, {"fault", "refused"}, {"status", 5}});
    EXPECT_EQ(statusReply(5), client.ask({8, 0, 0}));
    EXPECT_EQ(byteReply(1), client.ask({10})); // refused: not carried out
    daemon.call("fault_clear");
    daemon.call("fault_add", {{"command", 10}, {"fault", "truncated"}, {"bytes", 6}, {"count", 1}});
    EXPECT_EQ((Bytes{0x00, 0x0e, 0x00, 0x03, 0x00, 0x00}), client.ask({10}));
    EXPECT_EQ(byteReply(1), client.ask({10}));
}

TEST(ZvBleD, RefusalByAFaultIsLoggedAsOne) {
    SyslogCapture log;
    DaemonProcess daemon("zvBleD", R"({"faults":[{"command":"config_get","fault":"refused","status":3}]})");
    EXPECT_EQ(statusReply(3), Client().ask({10}));
    EXPECT_EQ(0, daemon.end(SIGTERM));
    EXPECT_THAT(log.texts(), testing::Contains(testing::HasSubstr("/to_ble: BLE command 10: refused by a fault")));
}

TEST(ZvBleD, ToolAndClientsAgreeOnAListIdThatAFaultHasChanged) {
    DaemonProcess daemon("zvBleD", R"({"ble":{"devices":[{"address":"000000000001","found_after_ms":0}],
        "whitelist":[{"address":"000000000001"},{"address":"000000000002"}]},
        "faults":[{"command":"*","fault":"list_id","by":5}]})");
    Client client;
    EXPECT_EQ(statusReply(0), client.ask({1, 1}));
    struct List {
        const char* name;
        std::uint8_t code;
        std::uint8_t id;
    };
    for (const List& list : {List{"whitelist", 6, 2}, List{"scan", 4, 1}}) {
        const auto shown = [&] { return daemon.call("ble").at(list.name).at("list_id"); };
        EXPECT_EQ(list.id, client.page({list.code, 0, 255})[1]);
        EXPECT_EQ(list.id + 5, client.page({list.code, 1, 255})[1]);
        EXPECT_EQ(list.id + 5, shown());
        daemon.call("rebuild", {{"list", list.name}, {"id", 255}});
        EXPECT_EQ(255, client.page({list.code, 0, 255})[1]);
        EXPECT_EQ(4, client.page({list.code, 1, 255})[1]);
        EXPECT_EQ(4, shown());
    }
    daemon.call("fault_clear");
    EXPECT_EQ(client.page({6, 1, 255})[1], daemon.call("ble").at("whitelist").at("list_id"));
}

TEST(ZvBleD, AStatusSetByHandHoldsAndHindersNoPairing) {
    DaemonProcess daemon("zvBleD", scenario);
    Client client;
    daemon.call("pairing_status", {{"status", 1}});
    EXPECT_EQ(byteReply(1), client.ask({9}));
    EXPECT_EQ(byteReply(1), client.ask({9}));
    EXPECT_THROW(daemon.call("pairing_end", {{"outcome", "success"}}), std::runtime_error);
    EXPECT_EQ(statusReply(0), client.ask(pairOne));
    EXPECT_EQ(2, client.waitForPairing(2));
    daemon.call("pairing_status", {{"status", 1}});
    EXPECT_EQ(byteReply(1), client.ask({9}));
    EXPECT_EQ((zvcamera::Json{{"status", 1},
                              {"meaning", "pairing"},
                              {"by_hand", true},
                              {"own_status", 2},
                              {"own_meaning", "paired"},
                              {"address", "a1b2c3d4e5f6"},
                              {"address_type", 1}}),
              daemon.call("ble").at("pairing"));
    daemon.call("pairing_status", {{"status", nullptr}});
    EXPECT_EQ(byteReply(2), client.ask({9}));
}

TEST(ZvBleD, ADeviceThatIsSetPresentIsHeardWhateverItsTimes) {
    DaemonProcess daemon("zvBleD",
                         R"({"ble":{"devices":[{"address":"000000000001","from_ms":3600000,"found_after_ms":0}]}})");
    daemon.call("scan", {{"mode", 1}});
    EXPECT_TRUE(daemon.call("ble").at("scan").at("found").empty());
    daemon.call("device_set", {{"device", {{"address", "000000000001"}, {"presence", "present"}}}});
    EXPECT_EQ(1U, daemon.call("ble").at("scan").at("found").size());
}

// A request line of the tool, raw; what is answered.
std::string rawAnswer(const std::string& line) {
    const zv::UniqueFd fd = zvcamera::connectUnix("/run/zarvo/zvBleD.admin", SOCK_STREAM);
    EXPECT_EQ(static_cast<ssize_t>(line.size()), send(fd.get(), line.data(), line.size(), MSG_NOSIGNAL));
    char answer[256];
    const ssize_t length = recv(fd.get(), answer, sizeof answer, 0);
    return {answer, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

std::string nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

TEST(ZvBleD, EveryEndOfAPairingByHand) {
    DaemonProcess daemon("zvBleD", scenario);
    Client client;
    daemon.call("ble_set", {{"settings", {{"pairing_ms", 60000}}}});
    for (const auto& [outcome, status] : {std::pair{"success", 2}, {"failure", 3}, {"cancel", 4}, {"timeout", 5}}) {
        daemon.call("pairing_start", {{"address", "a1b2c3d4e5f6"}, {"address_type", 1}});
        EXPECT_EQ(byteReply(1), client.ask({9}));
        daemon.call("pairing_end", {{"outcome", outcome}});
        EXPECT_EQ(byteReply(static_cast<std::uint8_t>(status)), client.ask({9})) << outcome;
    }
    daemon.call("pairing_start", {{"address", "a1b2c3d4e5f6"}, {"address_type", 1}});
    EXPECT_THROW(daemon.call("pairing_end", {{"outcome", "idle"}}), std::runtime_error);
    EXPECT_EQ(byteReply(1), client.ask({9}));
}

TEST(ZvBleD, ASlotByHandKeepsWhatIsNotNamedAndNeedsRoom) {
    DaemonProcess daemon("zvBleD", scenario);
    Client client;
    daemon.call("whitelist_set", {{"slot", {{"address", "000000000001"}, {"auto_connect", 1}}}});
    const Bytes kept = client.page({6, 0, 255});
    EXPECT_EQ((Bytes{0x01, 0, 0, 0, 0, 0, 0x50, 0, 10, 3, 'O', 'l', 'd'}), Bytes(kept.begin() + 5, kept.begin() + 18));
    daemon.call("ble_set", {{"settings", {{"whitelist_slots", 1}}}});
    EXPECT_THROW(daemon.call("whitelist_set", {{"slot", {{"address", "000000000002"}}}}), std::runtime_error);
    daemon.call("whitelist_set", {{"slot", {{"address", "000000000001"}, {"in_use", false}}}});
    EXPECT_EQ(0, client.page({6, 0, 255})[11] & 0x40);
    daemon.call("whitelist_set", {{"slot", {{"address", "000000000002"}}}});
    EXPECT_EQ(2, client.page({6, 0, 255})[5]);
}

TEST(ZvBleD, RequestsNestedTooDeepAreRefused) {
    DaemonProcess daemon("zvBleD");
    for (const char* op : {"fault_add", "ble_set", "device_set", "whitelist_set", "pairing_end"}) {
        EXPECT_EQ("{\"error\":\"nested deeper than 16\",\"kind\":\"invalid\",\"ok\":false}\n",
                  rawAnswer("{\"op\":\"" + std::string(op) + "\",\"x\":" + nested(32000) + "}\n"));
    }
    EXPECT_EQ(0, daemon.end(SIGTERM));
}

TEST(ZvBleD, AScenarioNestedTooDeepIsAClearError) {
    std::ofstream("/tmp/deep.json") << "{\"ble\":{\"devices\":" << nested(1000000) << "}}";
    ASSERT_EQ(0, std::system("mkdir -p /run/zarvo"));
    const Ended ended = runToEnd("zvBleD", {"--scenario", "/tmp/deep.json"});
    EXPECT_EQ(1, ended.status);
    EXPECT_EQ("zvBleD: /tmp/deep.json: nested deeper than 16\n", ended.error);
}

TEST(ZvBleD, ALateReplyHoldsNoOther) {
    DaemonProcess daemon("zvBleD");
    daemon.call("fault_add", {{"command", "config_get"}, {"fault", "late"}, {"ms", 300}, {"count", 1}});
    Client client;
    ASSERT_TRUE(sendTo(ble, request("BL", {10}, reply, ble)));
    EXPECT_EQ(byteReply(0), client.ask({9}));
    EXPECT_EQ(byteReply(1), client.answers.receive());
}

TEST(ZvBleD, StandsThousandsOfMalformedMessages) {
    DaemonProcess daemon("zvBleD", scenario);
    Client client;
    std::mt19937 random(21);
    for (int i = 0; i < 3000; ++i) {
        Bytes data(random() % 12);
        for (std::uint8_t& byte : data) {
            byte = static_cast<std::uint8_t>(random());
        }
        if (!data.empty()) {
            data[0] = static_cast<std::uint8_t>(random() % 12);
        }
        Bytes bytes = request("BL", data, "/to_absent", ble);
        if (i % 2 == 0) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        }
        if (i % 5 == 0) {
            bytes.resize(random() % 2049);
        }
        ASSERT_TRUE(sendTo(ble, bytes));
    }
    EXPECT_EQ(3000U, daemon.waitForCount("received", 3000));
    EXPECT_EQ(statusReply(1), client.ask({5}));
}

TEST(ZvBleD, LogsAndSkipsOversizedMessages) {
    SyslogCapture log;
    DaemonProcess daemon("zvBleD");
    ASSERT_TRUE(sendTo(ble, Bytes(1501)));
    EXPECT_EQ(1U, daemon.waitForCount("skipped", 1));
    EXPECT_THAT(log.texts(), testing::Contains("/to_ble: oversized message of 1501 bytes skipped"));
}

TEST(ZvBleD, AFullReplyQueueDropsTheReply) {
    DaemonProcess daemon("zvBleD");
    Client client; // two messages fit
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(sendTo(ble, request("BL", {10}, reply, ble)));
    }
    EXPECT_EQ(2U, daemon.waitForCount("unanswered", 2));
    EXPECT_EQ(byteReply(1), client.answers.receive());
    EXPECT_EQ(byteReply(1), client.answers.receive());
    EXPECT_EQ(std::nullopt, client.answers.receive(milliseconds(20)));
    EXPECT_EQ(byteReply(1), client.ask({10}));
}

TEST(ZvBleD, EndsOnSigtermAndRemovesItsQueueAndSocket) {
    DaemonProcess daemon("zvBleD");
    EXPECT_TRUE(queueExists(ble));
    EXPECT_EQ(0, daemon.end(SIGTERM));
    EXPECT_FALSE(queueExists(ble));
    EXPECT_NE(0, access("/run/zarvo/zvBleD.admin", F_OK));
}

TEST(ZvBleD, ASecondOneDoesNotTakeTheQueueAway) {
    DaemonProcess daemon("zvBleD");
    const Ended second = runToEnd("zvBleD", {});
    EXPECT_EQ(1, second.status);
    EXPECT_EQ("zvBleD: /run/zarvo/zvBleD.admin is served by another process\n", second.error);
    Client client;
    EXPECT_EQ(byteReply(1), client.ask({10}));
}

TEST(ZvBleD, AWrongScenarioIsAClearError) {
    std::ofstream("/tmp/wrong.json") << R"({"ble":{"devices":[{"address":"00"}]}})";
    ASSERT_EQ(0, std::system("mkdir -p /run/zarvo"));
    const Ended ended = runToEnd("zvBleD", {"--scenario", "/tmp/wrong.json"});
    EXPECT_EQ(1, ended.status);
    EXPECT_EQ("zvBleD: ble.devices[0].address: an address has twelve hexadecimal digits: 00\n", ended.error);
    EXPECT_FALSE(queueExists(ble));
}

} // namespace
