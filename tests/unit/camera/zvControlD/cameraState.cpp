#include "cameraState.h"

#include "scenarioText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace zvcamera;
using zvcontrol::Operation;
using Bytes = std::vector<unsigned char>;

namespace {

CameraState stateOf(const char* scenario) {
    return CameraState(scenarioOf(scenario));
}

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const JsonError& error) {
        return error.what();
    }
    return "(none)";
}

std::string setError(const char* name, const Json& value) {
    CameraState state{Scenario()};
    return errorOf([&] { state.set(CameraState::find(name), value); });
}

} // namespace

TEST(CameraState, HasDefaults) {
    const CameraState state{Scenario()};
    const Json json = state.toJson();
    EXPECT_EQ((Json{{"model_number", 13},
                    {"model_name", "Simulated Camera"},
                    {"firmware_version", "SC1.01.01.00.00"},
                    {"serial_number", "C0000000000001"},
                    {"board_type", "0x05"},
                    {"ap_mac", "02005e000001"},
                    {"ap_ssid", "SC00000001"},
                    {"ap_has_default_credentials", true}}),
              json.at("identity"));
    EXPECT_EQ((Json{{"recording", 0}, {"ap_pairing_state", 0}}), json.at("state"));
    EXPECT_EQ(Json::object(), json.at("failures"));
}

TEST(CameraState, TakesWhatTheScenarioSays) {
    const CameraState state = stateOf(R"({"identity":{"model_number":255,"ap_ssid":"x","ap_has_default_credentials":0},
                                          "state":{"recording":2147483647}})");
    EXPECT_EQ(255, state.value(CameraState::find("model_number")));
    EXPECT_EQ("x", state.value(CameraState::find("ap_ssid")));
    EXPECT_EQ(false, state.value(CameraState::find("ap_has_default_credentials")));
    EXPECT_EQ(2147483647, state.value(CameraState::find("recording")));
}

TEST(CameraState, NamesWhatIsWrongInTheScenario) {
    const auto error = [](const char* scenario) { return errorOf([&] { stateOf(scenario); }); };
    EXPECT_EQ("identity.colour: unknown key", error(R"({"identity":{"colour":"red"}})"));
    EXPECT_EQ("state.model_number: unknown key", error(R"({"state":{"model_number":1}})"));
    EXPECT_EQ("identity.model_number: must be a whole number from 0 to 255",
              error(R"({"identity":{"model_number":256}})"));
    EXPECT_EQ("identity.ap_mac: must be a text", error(R"({"identity":{"ap_mac":5}})"));
    EXPECT_EQ("state.recording: must be a whole number from -2147483648 to 2147483647",
              error(R"({"state":{"recording":2147483648}})"));
    EXPECT_EQ("/tmp/scenario.json: state: must be an object", error(R"({"state":[]})"));
}

TEST(CameraState, NumbersMayStandAsText) {
    CameraState state{Scenario()};
    state.set(CameraState::find("recording"), "-5");
    EXPECT_EQ(-5, state.value(CameraState::find("recording")));
    state.set(CameraState::find("ap_has_default_credentials"), "false");
    EXPECT_EQ(false, state.value(CameraState::find("ap_has_default_credentials")));
    state.set(CameraState::find("ap_has_default_credentials"), "1");
    EXPECT_EQ(true, state.value(CameraState::find("ap_has_default_credentials")));
}

TEST(CameraState, RefusesWhatAnItemCannotBe) {
    const std::string range = "recording: must be a whole number from -2147483648 to 2147483647";
    for (const Json& value :
         {Json(""), Json(" 1"), Json("1 "), Json("1x"), Json("+1"), Json("0x1"), Json(1.5), Json(true), Json(nullptr),
          Json::array({1}), Json("-2147483649"), Json(UINT64_MAX), Json("99999999999999999999")}) {
        EXPECT_EQ(range, setError("recording", value)) << value;
    }
    EXPECT_EQ("model_number: must be a whole number from 0 to 255", setError("model_number", -1));
    EXPECT_EQ("ap_has_default_credentials: must be true or false", setError("ap_has_default_credentials", "yes"));
    EXPECT_EQ("ap_has_default_credentials: must be true or false", setError("ap_has_default_credentials", 2));
    const std::string longest = "ap_ssid: must be a text of at most 4096 bytes without a zero byte";
    EXPECT_EQ("(none)", setError("ap_ssid", std::string(4096, 'x')));
    EXPECT_EQ(longest, setError("ap_ssid", std::string(4097, 'x')));
    EXPECT_EQ(longest, setError("ap_ssid", std::string("a\0b", 3)));
    EXPECT_EQ("unknown item colour", setError("colour", 1));
}

TEST(CameraState, GoesToTheLibrariesAsBytes) {
    CameraState state{Scenario()};
    state.set(CameraState::find("recording"), -2);
    state.set(CameraState::find("ap_ssid"), "a\xC3\xA9");
    EXPECT_EQ((Bytes{13}), state.bytes(CameraState::find("model_number")));
    EXPECT_EQ((Bytes{1}), state.bytes(CameraState::find("ap_has_default_credentials")));
    EXPECT_EQ((Bytes{0xFF, 0xFF, 0xFF, 0xFE}), state.bytes(CameraState::find("recording")));
    EXPECT_EQ((Bytes{'a', 0xC3, 0xA9}), state.bytes(CameraState::find("ap_ssid")));
}

TEST(CameraState, LibrariesFindItemsByNumber) {
    EXPECT_STREQ("recording", CameraState::find(Operation::GetItem, 3)->name);
    EXPECT_STREQ("ap_pairing_state", CameraState::find(Operation::GetItem, 54)->name);
    EXPECT_EQ(nullptr, CameraState::find(Operation::GetItem, 1));
    const char* const names[] = {"model_number", "model_name", "firmware_version", "serial_number",
                                 "board_type",   "ap_mac",     "ap_ssid",          "ap_has_default_credentials"};
    for (int number = 1; number <= 8; ++number) {
        EXPECT_STREQ(names[number - 1], CameraState::find(Operation::GetState, number)->name);
    }
    EXPECT_EQ(nullptr, CameraState::find(Operation::GetState, 0));
    EXPECT_EQ(nullptr, CameraState::find(Operation::GetState, 9));
}

TEST(CameraState, ItemsAndServicesFailUntilTheyAreLet) {
    CameraState state{Scenario()};
    EXPECT_EQ(0, state.failure("recording"));
    state.fail("recording", -7);
    state.fail("analytics_get", -1);
    state.fail("uri_interface_open", -100);
    EXPECT_EQ(-7, state.failure("recording"));
    EXPECT_EQ((Json{{"recording", -7}, {"analytics_get", -1}, {"uri_interface_open", -100}}),
              state.toJson().at("failures"));
    state.unfail("recording");
    EXPECT_EQ(0, state.failure("recording"));
    state.unfail("all");
    EXPECT_EQ(Json::object(), state.toJson().at("failures"));
}

TEST(CameraState, RefusesSenselessFailures) {
    CameraState state{Scenario()};
    EXPECT_EQ("unknown item colour", errorOf([&] { state.fail("colour", -1); }));
    EXPECT_EQ("unknown item colour", errorOf([&] { state.unfail("colour"); }));
    EXPECT_EQ("a failure code is negative", errorOf([&] { state.fail("recording", 0); }));
    EXPECT_EQ("unknown item all", errorOf([&] { state.fail("all", -1); }));
}
