#include "settingsFile.h"

#include "descriptionTest.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DescribedSettings : public DescriptionTest {};

// So many reads are interrupted from now on.
int interruptions = 0;

} // namespace

extern "C" ssize_t __real_read(int descriptor, void* block, std::size_t size);
extern "C" ssize_t __wrap_read(int descriptor, void* block, std::size_t size) {
    if (interruptions > 0) {
        --interruptions;
        errno = EINTR;
        return -1;
    }
    return __real_read(descriptor, block, size);
}

namespace {

TEST_F(DescribedSettings, AModelWithoutSettingsFileFallsBackToThoseOfModel13) {
    writeSettings("abru", "{\"a\":1}");
    EXPECT_EQ("<success header>\n{\"a\":1" + info("12"), describe());
    EXPECT_EQ(0, result_);
    EXPECT_THAT(log_.texts(), ElementsAre("UTIL_LOG_INFO :model_number, 12\n @zvControl:231",
                                          "UTIL_LOG_WARN :file not found, /usr/local/zarvo/etc/tessilon/settings.json\n"
                                          " @zvControl:308",
                                          "UTIL_LOG_WARN :using default, /usr/local/zarvo/etc/abru/settings.json\n"
                                          " @zvControl:312"));
}

TEST_F(DescribedSettings, PathsAreCutTo255CharactersInTheFileSystemAndInTheLog) {
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

TEST_F(DescribedSettings, SettingsThatExistButCannotBeOpenedAnswerAnErrorWithoutFallingBack) {
    writeSettings("abru", "{}");
    std::filesystem::create_directories(etc + "tessilon");
    // A socket has a status but cannot be opened, whoever asks.
    ASSERT_EQ(0, mknod((etc + "tessilon/settings.json").c_str(), S_IFSOCK | 0600, 0));
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(DescribedSettings, LinesAreJoinedWithNothingBetweenThem) {
    writeSettings("tessilon", "{\n  \"a\": \"one\ntwo\",\n\n  \"b\": 2\n}\n");
    EXPECT_EQ("<success header>\n{  \"a\": \"onetwo\",  \"b\": 2" + info("12"), describe());
}

TEST_F(DescribedSettings, ACarriageReturnIsNoLineEnd) {
    writeSettings("tessilon", "{\"a\":1,\r\n\"b\":2}\r\n");
    EXPECT_EQ("<success header>\n{\"a\":1,\r\"b\":2" + info("12"), describe());
}

TEST_F(DescribedSettings, SettingsLongerThanABlockArriveWhole) {
    std::string settings = "{\"a\":[";
    std::string joined = settings;
    for (int line = 0; line < 20000; ++line) {
        settings += std::to_string(line) + ",\n";
        joined += std::to_string(line) + ",";
    }
    writeSettings("tessilon", settings + "0]}\n");
    EXPECT_EQ("<success header>\n" + joined + "0]" + info("12"), describe());
}

TEST_F(DescribedSettings, EmptySettingsAnswerTheSameError) {
    writeSettings("tessilon", "");
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(DescribedSettings, ADirectoryInThePlaceOfTheSettingsAnswersTheSameError) {
    std::filesystem::create_directories(etc + "tessilon/settings.json");
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(DescribedSettings, APipeInThePlaceOfTheSettingsIsNotWaitedFor) {
    std::filesystem::create_directories(etc + "tessilon");
    ASSERT_EQ(0, mkfifo((etc + "tessilon/settings.json").c_str(), 0600));
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(DescribedSettings, SettingsOf16MebibytesAreAnsweredAndOfOneByteMoreAreNot) {
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

TEST_F(DescribedSettings, EndlessSettingsAnswerTheSameError) {
    std::filesystem::create_directories(etc + "tessilon");
    std::filesystem::create_symlink("/dev/zero", etc + "tessilon/settings.json");
    EXPECT_EQ("<error (null)|(null)|500|-10|/usr/local/zarvo/etc/tessilon/settings.json|"
              "camera_description_output_json|331>",
              describe());
    EXPECT_EQ(-10, result_);
}

TEST_F(DescribedSettings, AnInterruptedReadIsRepeated) {
    writeSettings("tessilon", "{\"a\":1}\n");
    interruptions = 3;
    EXPECT_EQ("<success header>\n{\"a\":1" + info("12"), describe());
    EXPECT_EQ(0, result_);
    EXPECT_EQ(0, interruptions);
}

} // namespace
