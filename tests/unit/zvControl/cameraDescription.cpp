#include "cameraDescription.h"

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

class CameraDescription : public DescriptionTest {};

TEST_F(CameraDescription, AppendsTheInfoObjectToTheSettingsOfTheModel) {
    writeSettings("tessilon", "{\"version\":2.1,\"modes\":[{\"id\":1}]}");
    EXPECT_EQ("<success header>\n{\"version\":2.1,\"modes\":[{\"id\":1}]" + info("12"), describe());
    EXPECT_EQ(0, result_);
    EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_INFO :model_number, 12\n @zvControl:231"));
}

TEST_F(CameraDescription, TheBuildRevisionIs40LowerCaseHexadecimalDigits) {
    EXPECT_EQ(40U, std::string(buildRevision).size());
    EXPECT_EQ(std::string::npos, std::string(buildRevision).find_first_not_of("0123456789abcdef"));
}

TEST_F(CameraDescription, UnknownModelWarnsAndTakesTheSettingsOfModel13UnderItsOwnNumber) {
    writeSettings("abru", "{\"a\":1}");
    fakePlatform().modelNumber = 20;
    EXPECT_EQ("<success header>\n{\"a\":1" + info("20"), describe());
    EXPECT_EQ(0, result_);
    EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_INFO :model_number, 20\n @zvControl:231",
                                          "UTIL_LOG_WARN :invalid model_number, 20\n @zvControl:236"));
}

TEST_F(CameraDescription, UnknownModelWithoutSettingsSaysAllOfItInOrder) {
    fakePlatform().modelNumber = 20;
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

TEST_F(CameraDescription, WarningsDependOnTheLogLevel) {
    writeSettings("abru", "{}");
    fakePlatform().modelNumber = 255;
    g_logLevel = 2;
    describe();
    fakePlatform().modelNumber = 12;
    describe();
    EXPECT_THAT(log_.texts(), IsEmpty());
    for (const int level : {3, 4}) {
        g_logLevel = level;
        log_.take();
        describe();
        EXPECT_THAT(log_.texts(),
                    ElementsAre(testing::EndsWith(" @zvControl:308"), testing::EndsWith(" @zvControl:312")));
        fakePlatform().modelNumber = 255;
        log_.take();
        describe();
        EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_WARN :invalid model_number, 255\n @zvControl:236"));
        fakePlatform().modelNumber = 12;
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

TEST_F(CameraDescription, TextAfterTheLastBraceIsDropped) {
    writeSettings("tessilon", "{\"a\":{\"b\":1}} // trailing remark\nand more");
    EXPECT_EQ("<success header>\n{\"a\":{\"b\":1}" + info("12"), describe());
}

TEST_F(CameraDescription, SettingsWithoutAClosingBraceAnswerAnErrorAndNoHalfHeader) {
    writeSettings("tessilon", "{\"a\":1\n");
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(CameraDescription, WithoutMemoryForTheSettingsThereIsNoDocument) {
    writeSettings("tessilon", "{\"a\":{}," + std::string(5000, ' ') + "\"b\":1}");
    EXPECT_TRUE(lacksMemoryWithin(2000));
    EXPECT_EQ(-2, result_);
}

TEST_F(CameraDescription, WithoutMemoryForTheInfoObjectThereIsNoDocument) {
    // The settings just fit, and the text written back leaves no room behind it.
    writeSettings("tessilon", "{\"a\":\"" + std::string(400, 'a') + "\"}");
    EXPECT_TRUE(lacksMemoryWithin(600));
    EXPECT_EQ(-2, result_);
}

TEST_F(CameraDescription, WithoutMemoryForAnErrorAnswerThereIsNone) {
    EXPECT_TRUE(lacksMemoryWithin(1));
    EXPECT_EQ(-2, result_);
    fakePlatform().getterResults["ap_mac"] = -17;
    EXPECT_TRUE(lacksMemoryWithin(1));
    EXPECT_EQ(-2, result_);
}

TEST_F(CameraDescription, TheCredentialsFlagIsAQuotedText) {
    writeSettings("tessilon", "{}");
    fakePlatform().defaultCredentials = true;
    EXPECT_THAT(describe(), HasSubstr(",\"ap_has_default_credentials\":\"1\",\"git_sha1\":\""));
}

TEST_F(CameraDescription, ValuesAreNotEscaped) {
    writeSettings("tessilon", "{}");
    fakePlatform().texts["ap_ssid"] = "my \"net\"";
    EXPECT_THAT(describe(), HasSubstr(",\"ap_ssid\":\"my \"net\"\","));
}

TEST_F(CameraDescription, SettingsOfModel0AreFound) {
    writeSettings("orin1", "{}");
    fakePlatform().modelNumber = 0;
    EXPECT_EQ("<success header>\n{" + info("0"), describe());
}

} // namespace
