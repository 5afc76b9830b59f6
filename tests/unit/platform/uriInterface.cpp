#include "scriptedControl.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <gtest/gtest.h>

namespace {

using zvtest::Packet;
using zvtest::ScriptedControl;

// The calls, one letter each: O open hook, H handler, C close hook, 2 the second handler.
std::string calls;
int openResult = 0;
int handlerResult = 0;
int closeResult = 0;
const char* seenParams = nullptr;
char* seenResponse = nullptr;
int seenSize = 0;

int openHook() {
    calls += 'O';
    return openResult;
}
int closeHook() {
    calls += 'C';
    return closeResult;
}
int handler(const char* params, char* response, int size) {
    calls += 'H';
    seenParams = params;
    seenResponse = response;
    seenSize = size;
    return handlerResult;
}
int second(const char*, char*, int) {
    calls += '2';
    return 7;
}

class UriInterface : public testing::Test {
protected:
    UriInterface() { EXPECT_EQ(0, zvcontrol_uri_interface_open()); }
    ~UriInterface() override { zvcontrol_uri_interface_close(); }

    static int dispatch(const char* path) { return zvcontrol_uri_handle_uri_param(path, "q=1", nullptr, 0); }

    ScriptedControl daemon_{zvtest::sayYes};
};

Packet answer(int code) {
    const auto bits = static_cast<unsigned>(code);
    return {'Z',
            'A',
            1,
            0,
            static_cast<unsigned char>(bits >> 24),
            static_cast<unsigned char>(bits >> 16),
            static_cast<unsigned char>(bits >> 8),
            static_cast<unsigned char>(bits)};
}

} // namespace

TEST_F(UriInterface, ServesThePathWithoutOneLeadingSlash) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("execute", handler, nullptr, nullptr));
    EXPECT_EQ(0, dispatch("/execute"));
    EXPECT_EQ(0, dispatch("execute"));
    EXPECT_EQ("HH", calls);
}

TEST_F(UriInterface, MatchesExactly) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("command/ble/scan", handler, nullptr, nullptr));
    for (const char* path : {"//command/ble/scan", "/command/ble/scan/", "/command/ble/scan/list", "/command/ble/sca",
                             "/Command/ble/scan", "/command//ble/scan", "", "/", " /command/ble/scan"}) {
        EXPECT_EQ(ZV_ERR_NOT_SUPPORTED, dispatch(path)) << path;
    }
    EXPECT_EQ("", calls);
}

TEST_F(UriInterface, TellsUrisApartThatBeginAlike) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("command/ble/scan", handler, nullptr, nullptr));
    ASSERT_EQ(0, zvcontrol_uri_add_handler("command/ble/scan/list", second, nullptr, nullptr));
    EXPECT_EQ(7, dispatch("/command/ble/scan/list"));
    EXPECT_EQ("2", calls);
}

TEST_F(UriInterface, TheFirstHandlerOfAUriServesIt) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("x", handler, nullptr, nullptr));
    ASSERT_EQ(0, zvcontrol_uri_add_handler("x", second, nullptr, nullptr));
    EXPECT_EQ(0, dispatch("/x"));
    EXPECT_EQ("H", calls);
}

TEST_F(UriInterface, NoPathIsNotServed) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("", handler, nullptr, nullptr));
    EXPECT_EQ(ZV_ERR_NOT_SUPPORTED, dispatch(nullptr));
}

TEST_F(UriInterface, PassesTextBufferAndSizeOn) {
    char response[16];
    const char params[] = "a=1&b=%41";
    ASSERT_EQ(0, zvcontrol_uri_add_handler("x", handler, nullptr, nullptr));
    zvcontrol_uri_handle_uri_param("/x", params, response, 16);
    EXPECT_EQ(params, seenParams);
    EXPECT_EQ(response, seenResponse);
    EXPECT_EQ(16, seenSize);
    zvcontrol_uri_handle_uri_param("/x", nullptr, nullptr, 0);
    EXPECT_EQ(nullptr, seenParams);
    EXPECT_EQ(nullptr, seenResponse);
}

TEST_F(UriInterface, HooksStandAroundTheHandler) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("x", handler, openHook, closeHook));
    EXPECT_EQ(0, dispatch("/x"));
    EXPECT_EQ("OHC", calls);
}

TEST_F(UriInterface, EitherHookMayBeAbsent) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("o", handler, openHook, nullptr));
    ASSERT_EQ(0, zvcontrol_uri_add_handler("c", handler, nullptr, closeHook));
    EXPECT_EQ(0, dispatch("/o"));
    EXPECT_EQ(0, dispatch("/c"));
    EXPECT_EQ("OHHC", calls);
}

TEST_F(UriInterface, TheHandlersCodeIsTheResult) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("x", handler, openHook, closeHook));
    closeResult = -9;
    for (const int code : {-18, -4, -20, -1, -100, 0, 5}) {
        handlerResult = code;
        EXPECT_EQ(code, dispatch("/x"));
    }
}

TEST_F(UriInterface, AFailingOpenHookSkipsHandlerAndCloseHook) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("x", handler, openHook, closeHook));
    openResult = -2;
    EXPECT_EQ(-2, dispatch("/x"));
    EXPECT_EQ("O", calls);
}

TEST_F(UriInterface, ARowNeedsUriAndHandler) {
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvcontrol_uri_add_handler(nullptr, handler, nullptr, nullptr));
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvcontrol_uri_add_handler("x", nullptr, nullptr, nullptr));
}

TEST_F(UriInterface, OpeningTwiceFailsAndChangesNothing) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("x", handler, nullptr, nullptr));
    EXPECT_EQ(ZV_ERR, zvcontrol_uri_interface_open());
    EXPECT_EQ(0, dispatch("/x"));
}

TEST_F(UriInterface, ClosingForgetsTheHandlers) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler("x", handler, nullptr, nullptr));
    EXPECT_EQ(0, zvcontrol_uri_interface_close());
    EXPECT_EQ(ZV_ERR_NOT_SUPPORTED, dispatch("/x"));
    EXPECT_EQ(ZV_ERR, zvcontrol_uri_add_handler("x", handler, nullptr, nullptr));
    EXPECT_EQ(ZV_ERR, zvcontrol_uri_interface_close());
    EXPECT_EQ(0, zvcontrol_uri_interface_open());
    EXPECT_EQ(ZV_ERR_NOT_SUPPORTED, dispatch("/x"));
}

TEST_F(UriInterface, AHandlerMayCloseTheInterface) {
    ASSERT_EQ(0, zvcontrol_uri_add_handler(
                     "x", [](const char*, char*, int) { return zvcontrol_uri_interface_close(); }, nullptr, closeHook));
    EXPECT_EQ(0, dispatch("/x"));
    EXPECT_EQ("C", calls);
}

TEST_F(UriInterface, TellsTheDaemonOfOpeningAndClosing) {
    zvcontrol_uri_interface_close();
    EXPECT_EQ((std::vector<Packet>{{'Z', 'C', 1, 1, 0, 0, 0, 0}, {'Z', 'C', 1, 2, 0, 0, 0, 0}}), daemon_.requests());
}

TEST_F(UriInterface, HoldsManyHandlers) {
    std::vector<std::string> uris;
    uris.reserve(1000);
    for (int i = 0; i < 1000; ++i) {
        uris.push_back("uri/" + std::to_string(i));
    }
    for (const std::string& uri : uris) {
        ASSERT_EQ(0, zvcontrol_uri_add_handler(uri.c_str(), handler, nullptr, nullptr));
    }
    EXPECT_EQ(0, dispatch("/uri/999"));
}

TEST(UriInterfaceDaemon, AbsentDaemonLeavesItClosed) {
    EXPECT_EQ(ZV_ERR, zvcontrol_uri_interface_open());
    EXPECT_EQ(ZV_ERR, zvcontrol_uri_add_handler("x", handler, nullptr, nullptr));
    EXPECT_EQ(ZV_ERR_NOT_SUPPORTED, zvcontrol_uri_handle_uri_param("/x", nullptr, nullptr, 0));
    EXPECT_EQ(ZV_ERR, zvcontrol_uri_interface_close());
}

TEST(UriInterfaceDaemon, TheDaemonsRefusalIsTheResultAndLeavesItClosed) {
    const ScriptedControl daemon([](const Packet&) { return answer(-16); });
    EXPECT_EQ(-16, zvcontrol_uri_interface_open());
    EXPECT_EQ(ZV_ERR, zvcontrol_uri_interface_close());
}

TEST(UriInterfaceDaemon, AFailingCloseIsToldAndClosesAllTheSame) {
    const ScriptedControl daemon([](const Packet& request) { return answer(request[3] == 2 ? -7 : 0); });
    ASSERT_EQ(0, zvcontrol_uri_interface_open());
    EXPECT_EQ(-7, zvcontrol_uri_interface_close());
    EXPECT_EQ(0, zvcontrol_uri_interface_open());
    EXPECT_EQ(-7, zvcontrol_uri_interface_close());
}

namespace {

const std::vector<Packet> openAndClose{{'Z', 'C', 1, 1, 0, 0, 0, 0}, {'Z', 'C', 1, 2, 0, 0, 0, 0}};

} // namespace

TEST(UriInterfaceDaemon, TheCloseIsAskedForOnTheConnectionOfTheOpening) {
    ScriptedControl daemon(zvtest::sayYes, "/run/zarvo/zvControlD.sock", true);
    ASSERT_EQ(0, zvcontrol_uri_interface_open());
    EXPECT_EQ(0, zvcontrol_uri_interface_close());
    EXPECT_EQ(openAndClose, daemon.requests());
    EXPECT_EQ(1, daemon.connections());
}

TEST(UriInterfaceDaemon, TheCloseIsAskedForWhenTheConnectionIsGone) {
    ScriptedControl daemon(zvtest::sayYes);
    ASSERT_EQ(0, zvcontrol_uri_interface_open());
    usleep(20 * 1000); // the daemon closes
    EXPECT_EQ(0, zvcontrol_uri_interface_close());
    EXPECT_EQ(openAndClose, daemon.requests());
}

TEST(UriInterfaceDaemon, TheCloseFailsWhenTheDaemonIsGone) {
    {
        const ScriptedControl daemon(zvtest::sayYes, "/run/zarvo/zvControlD.sock", true);
        ASSERT_EQ(0, zvcontrol_uri_interface_open());
    }
    EXPECT_EQ(ZV_ERR, zvcontrol_uri_interface_close());
}

TEST(UriInterfaceDaemon, TheOpeningTellsTheClientsPortWhenThereIsOne) {
    ScriptedControl daemon(zvtest::sayYes);
    for (const char* port : {"40001", "1", "", "123456", "80x", "-1"}) {
        setenv("REMOTE_PORT", port, 1);
        EXPECT_EQ(0, zvcontrol_uri_interface_open());
        EXPECT_EQ(0, zvcontrol_uri_interface_close());
    }
    unsetenv("REMOTE_PORT");
    std::vector<Packet> opened;
    for (const Packet& request : daemon.requests()) {
        if (request[3] == 1) {
            opened.push_back({request.begin() + 8, request.end()});
        }
    }
    EXPECT_EQ((std::vector<Packet>{{'4', '0', '0', '0', '1'}, {'1'}, {}, {}, {}, {}}), opened);
}
