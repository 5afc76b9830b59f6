#include "cameraDescription.h"

#include "buildRevision.h"
#include "fakePlatform.h"
#include "scarceMemory.h"
#include "settingsFile.h"
#include "syslogCapture.h"
#include "zvLog.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <string>
#include <sys/stat.h>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using zvtest::fakePlatform;

const std::string etc = "/usr/local/zarvo/etc/";

void writeSettings(const std::string& model, const std::string& text) {
    std::filesystem::create_directories(etc + model);
    std::ofstream(etc + model + "/settings.json", std::ios::binary) << text;
}

std::string info(const std::string& modelNumber) {
    return ",\n\"info\":{\"model_number\":" + modelNumber +
           ",\"model_name\":\"Tess 12\",\"firmware_version\":\"3.4.5\",\"serial_number\":\"SN0001\","
           "\"board_type\":\"B7\",\"ap_mac\":\"020304050607\",\"ap_ssid\":\"zarvo-0001\","
           "\"ap_has_default_credentials\":\"0\",\"git_sha1\":\"" +
           std::string(buildRevision) + "\"}}";
}

class CameraDescription : public testing::Test {
protected:
    CameraDescription() {
        zvUtilSetLogLevel(UTIL_LOG_TRACE);
        unsetenv("PATH_INFO");
        unsetenv("QUERY_STRING");
    }

    std::string describe() {
        std::stringstream stream;
        result_ = camera_description_output_json(stream);
        return stream.str();
    }

    // The same while operator new gives at most so many bytes at a time; the log capture needs more, so nothing is
    // logged.
    std::stringstream describeWithin(std::size_t most) {
        zvUtilSetLogLevel(UTIL_LOG_OFF);
        std::stringstream stream;
        const zvtest::ScarceMemory scarce(most);
        result_ = camera_description_output_json(stream);
        return stream;
    }

    int result_ = 99;
    zvtest::SyslogCapture log_;
};

TEST_F(CameraDescription, AppendsTheInfoObjectToTheSettingsOfTheModel) {
    writeSettings("tessilon", "{\"version\":2.1,\"modes\":[{\"id\":1}]}");
    EXPECT_EQ("<success header>\n{\"version\":2.1,\"modes\":[{\"id\":1}]" + info("12"), describe());
    EXPECT_EQ(0, result_);
    EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_INFO :model_number, 12\n @zvControl:231"));
}

TEST_F(CameraDescription, AsksTheGettersInTheirOrderWithArraysOf256Bytes) {
    writeSettings("tessilon", "{}");
    describe();
    EXPECT_THAT(fakePlatform().calls,
                ElementsAre("model_number", "model_name 256", "firmware_version 256", "serial_number 256",
                            "board_type 256", "ap_mac 256", "ap_ssid 256", "ap_has_default_credentials"));
}

TEST_F(CameraDescription, TheBuildRevisionIs40LowerCaseHexadecimalDigits) {
    EXPECT_EQ(std::string(buildRevision).size(), 40U);
    EXPECT_EQ(std::string(buildRevision).find_first_not_of("0123456789abcdef"), std::string::npos);
}

TEST_F(CameraDescription, UnknownModelWarnsAndTakesTheSettingsOfModel13UnderItsOwnNumber) {
    writeSettings("abru", "{\"a\":1}");
    fakePlatform().model_number = 20;
    EXPECT_EQ("<success header>\n{\"a\":1" + info("20"), describe());
    EXPECT_EQ(0, result_);
    EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_INFO :model_number, 20\n @zvControl:231",
                                          "UTIL_LOG_WARN :invalid model_number, 20\n @zvControl:236"));
}

TEST_F(CameraDescription, AModelWithoutSettingsFileFallsBackToThoseOfModel13) {
    writeSettings("abru", "{\"a\":1}");
    EXPECT_EQ("<success header>\n{\"a\":1" + info("12"), describe());
    EXPECT_EQ(0, result_);
    EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_INFO :model_number, 12\n @zvControl:231",
                                          "UTIL_LOG_WARN :file not found, /usr/local/zarvo/etc/tessilon/settings.json\n"
                                          " @zvControl:308",
                                          "UTIL_LOG_WARN :using default, /usr/local/zarvo/etc/abru/settings.json\n"
                                          " @zvControl:312"));
}

TEST_F(CameraDescription, UnknownModelWithoutSettingsSaysAllOfItInOrder) {
    fakePlatform().model_number = 20;
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/abru/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
    EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_INFO :model_number, 20\n @zvControl:231",
                                          "UTIL_LOG_WARN :invalid model_number, 20\n @zvControl:236",
                                          "UTIL_LOG_WARN :file not found, /usr/local/zarvo/etc/abru/settings.json\n"
                                          " @zvControl:308",
                                          "UTIL_LOG_WARN :using default, /usr/local/zarvo/etc/abru/settings.json\n"
                                          " @zvControl:312"));
}

TEST_F(CameraDescription, PathsAreCutTo255CharactersInTheFileSystemAndInTheLog) {
    const std::string model(300, 'm');
    char path[settingsPathSize];
    findSettings(model.c_str(), "abru", path);
    EXPECT_STREQ("/usr/local/zarvo/etc/abru/settings.json", path);
    EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_WARN :file not found, /usr/local/zarvo/etc/" +
                                              std::string(234, 'm') + "\n @zvControl:308",
                                          "UTIL_LOG_WARN :using default, /usr/local/zarvo/etc/abru/settings.json\n"
                                          " @zvControl:312"));
    findSettings("none", model.c_str(), path);
    EXPECT_EQ("/usr/local/zarvo/etc/" + std::string(234, 'm'), path);
    std::filesystem::create_directories(etc);
    std::ofstream(etc + std::string(234, 'm')) << "{}";
    log_.take();
    findSettings(model.c_str(), "abru", path);
    EXPECT_EQ("/usr/local/zarvo/etc/" + std::string(234, 'm'), path);
    EXPECT_THAT(log_.texts(), IsEmpty());
}

TEST_F(CameraDescription, WarningsDependOnTheLogLevel) {
    writeSettings("abru", "{}");
    fakePlatform().model_number = 255;
    g_logLevel = 2;
    describe();
    fakePlatform().model_number = 12;
    describe();
    EXPECT_THAT(log_.texts(), IsEmpty());
    for (const int level : {3, 4}) {
        g_logLevel = level;
        log_.take();
        describe();
        EXPECT_THAT(log_.texts(),
                    ElementsAre(testing::EndsWith(" @zvControl:308"), testing::EndsWith(" @zvControl:312")));
        fakePlatform().model_number = 255;
        log_.take();
        describe();
        EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_WARN :invalid model_number, 255\n @zvControl:236"));
        fakePlatform().model_number = 12;
    }
    g_logLevel = 5;
    log_.take();
    describe();
    EXPECT_EQ(3U, log_.texts().size());
}

TEST_F(CameraDescription, NoSettingsAtAllAnswersAnErrorWithThePathAttemptedLast) {
    setenv("PATH_INFO", "", 1);
    setenv("QUERY_STRING", "q=1", 1);
    EXPECT_EQ("<error |q=1|500|-10|/usr/local/zarvo/etc/abru/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, SettingsThatExistButCannotBeOpenedAnswerAnErrorWithoutFallingBack) {
    writeSettings("abru", "{}");
    std::filesystem::create_directories(etc + "tessilon");
    // A socket has a status but cannot be opened, whoever asks.
    ASSERT_EQ(0, mknod((etc + "tessilon/settings.json").c_str(), S_IFSOCK | 0600, 0));
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, LinesAreJoinedWithNothingBetweenThem) {
    writeSettings("tessilon", "{\n  \"a\": \"one\ntwo\",\n\n  \"b\": 2\n}\n");
    EXPECT_EQ("<success header>\n{  \"a\": \"onetwo\",  \"b\": 2" + info("12"), describe());
}

TEST_F(CameraDescription, ACarriageReturnIsNoLineEnd) {
    writeSettings("tessilon", "{\"a\":1,\r\n\"b\":2}\r\n");
    EXPECT_EQ("<success header>\n{\"a\":1,\r\"b\":2" + info("12"), describe());
}

TEST_F(CameraDescription, TextAfterTheLastBraceIsDropped) {
    writeSettings("tessilon", "{\"a\":{\"b\":1}} // trailing remark\nand more");
    EXPECT_EQ("<success header>\n{\"a\":{\"b\":1}" + info("12"), describe());
}

TEST_F(CameraDescription, SettingsLongerThanABlockArriveWhole) {
    std::string settings = "{\"a\":[";
    std::string joined = settings;
    for (int line = 0; line < 20000; ++line) {
        settings += std::to_string(line) + ",\n";
        joined += std::to_string(line) + ",";
    }
    writeSettings("tessilon", settings + "0]}\n");
    EXPECT_EQ("<success header>\n" + joined + "0]" + info("12"), describe());
}

TEST_F(CameraDescription, SettingsWithoutAClosingBraceAnswerAnErrorAndNoHalfHeader) {
    writeSettings("tessilon", "{\"a\":1\n");
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, EmptySettingsAnswerTheSameError) {
    writeSettings("tessilon", "");
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, ADirectoryInThePlaceOfTheSettingsAnswersTheSameError) {
    std::filesystem::create_directories(etc + "tessilon/settings.json");
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, APipeInThePlaceOfTheSettingsIsNotWaitedFor) {
    std::filesystem::create_directories(etc + "tessilon");
    ASSERT_EQ(0, mkfifo((etc + "tessilon/settings.json").c_str(), 0600));
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, SettingsOf16MebibytesAreAnsweredAndOfOneByteMoreAreNot) {
    const std::string start = "{\"a\":1" + std::string((16 << 20) - 7, ' ');
    writeSettings("tessilon", start + "}");
    ASSERT_EQ(16777216U, std::filesystem::file_size(etc + "tessilon/settings.json"));
    EXPECT_TRUE(describe() == "<success header>\n" + start + info("12"));
    EXPECT_EQ(0, result_);
    writeSettings("tessilon", start + " }");
    ASSERT_EQ(16777217U, std::filesystem::file_size(etc + "tessilon/settings.json"));
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe().substr(0, 1000));
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, WithoutMemoryForTheSettingsThereIsNoDocument) {
    writeSettings("tessilon", "{\"a\":{}," + std::string(5000, ' ') + "\"b\":1}");
    EXPECT_TRUE(describeWithin(2000).bad());
    EXPECT_EQ(-2, result_);
}

TEST_F(CameraDescription, WithoutMemoryForTheInfoObjectThereIsNoDocument) {
    // The settings just fit, and the text written back leaves no room behind it.
    writeSettings("tessilon", "{\"a\":\"" + std::string(400, 'a') + "\"}");
    EXPECT_TRUE(describeWithin(600).bad());
    EXPECT_EQ(-2, result_);
}

TEST_F(CameraDescription, WithoutMemoryForAnErrorAnswerThereIsNone) {
    EXPECT_TRUE(describeWithin(1).bad());
    EXPECT_EQ(-2, result_);
    fakePlatform().getter_results["ap_mac"] = -17;
    EXPECT_TRUE(describeWithin(1).bad());
    EXPECT_EQ(-2, result_);
}

TEST_F(CameraDescription, EndlessSettingsAnswerTheSameError) {
    std::filesystem::create_directories(etc + "tessilon");
    std::filesystem::create_symlink("/dev/zero", etc + "tessilon/settings.json");
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, TheCredentialsFlagIsAQuotedText) {
    writeSettings("tessilon", "{}");
    fakePlatform().default_credentials = true;
    EXPECT_THAT(describe(), HasSubstr(",\"ap_has_default_credentials\":\"1\",\"git_sha1\":\""));
}

TEST_F(CameraDescription, ValuesAreNotEscaped) {
    writeSettings("tessilon", "{}");
    fakePlatform().texts["ap_ssid"] = "my \"net\"";
    EXPECT_THAT(describe(), HasSubstr(",\"ap_ssid\":\"my \"net\"\","));
}

TEST_F(CameraDescription, ValuesOf255CharactersArriveWhole) {
    writeSettings("tessilon", "{}");
    fakePlatform().texts["serial_number"] = std::string(255, 's');
    EXPECT_THAT(describe(), HasSubstr("\"serial_number\":\"" + std::string(255, 's') + "\","));
}

TEST_F(CameraDescription, LongerValuesAreCutTo255Characters) {
    writeSettings("tessilon", "{}");
    fakePlatform().texts["serial_number"] = std::string(400, 's');
    EXPECT_THAT(describe(), HasSubstr("\"serial_number\":\"" + std::string(255, 's') + "\","));
}

TEST_F(CameraDescription, ValuesThatFill256BytesWithoutAnEndAreCutTo255Characters) {
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

TEST_F(CameraDescription, SettingsOfModel0AreFound) {
    writeSettings("orin1", "{}");
    fakePlatform().model_number = 0;
    EXPECT_EQ("<success header>\n{" + info("0"), describe());
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

class FailingGetter : public CameraDescription, public testing::WithParamInterface<Failure> {};

TEST_P(FailingGetter, IsLoggedAndAnsweredWithItsNameCodeAndLines) {
    writeSettings("tessilon", "{}");
    setenv("QUERY_STRING", "q=1", 1);
    fakePlatform().getter_results[GetParam().getter] = -17;
    EXPECT_EQ(describe(), GetParam().answered);
    EXPECT_EQ(-17, result_);
    EXPECT_EQ(log_.texts().back(), GetParam().logged);
    EXPECT_EQ(fakePlatform().calls.size(), static_cast<std::size_t>(GetParam().calls));
}

TEST_P(FailingGetter, IsLoggedOnlyFromErrorLevelOn) {
    g_logLevel = 1;
    fakePlatform().getter_results[GetParam().getter] = 5;
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
