#include "cameraIdentity.h"

#include "buildRevision.h"
#include "descriptionTest.h"
#include "fakePlatform.h"
#include "zvLog.h"

#include <cstdlib>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using zvtest::fakePlatform;

class DescribedIdentity : public DescriptionTest {};

TEST_F(DescribedIdentity, AsksTheGettersInTheirOrderWithArraysOf256Bytes) {
    writeSettings("tessilon", "{}");
    describe();
    EXPECT_THAT(fakePlatform().calls,
                ElementsAre("model_number", "model_name 256", "firmware_version 256", "serial_number 256",
                            "board_type 256", "ap_mac 256", "ap_ssid 256", "ap_has_default_credentials"));
}

TEST_F(DescribedIdentity, ValuesOf255CharactersArriveWhole) {
    writeSettings("tessilon", "{}");
    fakePlatform().texts["serial_number"] = std::string(255, 's');
    EXPECT_THAT(describe(), HasSubstr("\"serial_number\":\"" + std::string(255, 's') + "\","));
}

TEST_F(DescribedIdentity, LongerValuesAreCutTo255Characters) {
    writeSettings("tessilon", "{}");
    fakePlatform().texts["serial_number"] = std::string(400, 's');
    EXPECT_THAT(describe(), HasSubstr("\"serial_number\":\"" + std::string(255, 's') + "\","));
}

TEST_F(DescribedIdentity, ValuesThatFill256BytesWithoutAnEndAreCutTo255Characters) {
    writeSettings("tessilon", "{}");
    fakePlatform().unterminated = true;
    auto& texts = fakePlatform().texts;
    int number = 0;
    for (auto& [name, text] : texts) {
        text = std::string(255, static_cast<char>('a' + number++)) + "#";
    }
    EXPECT_EQ("<success header>\n{,\n\"info\":{\"model_number\":12,\"model_name\":\"" + std::string(255, 'e') +
                  "\",\"firmware_version\":\"" + std::string(255, 'd') + "\",\"serial_number\":\"" +
                  std::string(255, 'f') + "\",\"board_type\":\"" + std::string(255, 'c') + "\",\"ap_mac\":\"" +
                  std::string(255, 'a') + "\",\"ap_ssid\":\"" + std::string(255, 'b') +
                  "\",\"ap_has_default_credentials\":\"0\",\"git_sha1\":\"" + std::string(buildRevision) + "\"}}",
              describe());
}

struct Failure {
    const char* getter;
    int calls; // getters asked until then
    const char* logged;
    const char* answered;
};

void PrintTo(const Failure& failure, std::ostream* stream) {
    *stream << failure.getter;
}

class FailingGetter : public DescriptionTest, public testing::WithParamInterface<Failure> {};

TEST_P(FailingGetter, IsLoggedAndAnsweredWithItsNameCodeAndLines) {
    writeSettings("tessilon", "{}");
    setenv("QUERY_STRING", "q=1", 1);
    fakePlatform().getterResults[GetParam().getter] = -17;
    EXPECT_EQ(describe(), GetParam().answered);
    EXPECT_EQ(-17, result_);
    EXPECT_EQ(log_.texts().back(), GetParam().logged);
    EXPECT_EQ(fakePlatform().calls.size(), static_cast<std::size_t>(GetParam().calls));
}

TEST_P(FailingGetter, IsLoggedOnlyFromErrorLevelOn) {
    g_logLevel = 1;
    fakePlatform().getterResults[GetParam().getter] = 5;
    describe();
    EXPECT_EQ(5, result_);
    EXPECT_THAT(log_.texts(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    each, FailingGetter,
    testing::Values(
        Failure{"model_number", 1, "UTIL_LOG_ERROR:zvc_state_get_model_number err, -17\n @zvControl:226",
                "<error (null)|q=1|500|-17|zvc_state_get_model_number|camera_description_output_json|228>"},
        Failure{"model_name", 2, "UTIL_LOG_ERROR:zvc_state_get_model_name err, -17\n @zvControl:243",
                "<error (null)|q=1|500|-17|zvc_state_get_model_name|camera_description_output_json|245>"},
        Failure{"firmware_version", 3, "UTIL_LOG_ERROR:zvc_state_get_firmware_version err, -17\n @zvControl:252",
                "<error (null)|q=1|500|-17|zvc_state_get_firmware_version|camera_description_output_json|254>"},
        Failure{"serial_number", 4, "UTIL_LOG_ERROR:zvc_state_get_serial_number err, -17\n @zvControl:261",
                "<error (null)|q=1|500|-17|zvc_state_get_serial_number|camera_description_output_json|263>"},
        Failure{"board_type", 5, "UTIL_LOG_ERROR:zvc_state_get_board_type err, -17\n @zvControl:270",
                "<error (null)|q=1|500|-17|zvc_state_get_board_type|camera_description_output_json|272>"},
        Failure{"ap_mac", 6, "UTIL_LOG_ERROR:zvc_state_get_ap_mac err, -17\n @zvControl:279",
                "<error (null)|q=1|500|-17|zvc_state_get_ap_mac|camera_description_output_json|281>"},
        Failure{"ap_ssid", 7, "UTIL_LOG_ERROR:zvc_state_get_ap_ssid err, -17\n @zvControl:288",
                "<error (null)|q=1|500|-17|zvc_state_get_ap_ssid|camera_description_output_json|290>"},
        Failure{"ap_has_default_credentials", 8,
                "UTIL_LOG_ERROR:zvc_state_get_ap_has_default_credentials err, -17\n @zvControl:297",
                "<error (null)|q=1|500|-17|zvc_state_get_ap_has_default_credentials|"
                "camera_description_output_json|299>"}),
    [](const auto& row) { return std::string(row.param.getter); });

} // namespace
