#include "descriptionTest.h"

#include "buildRevision.h"
#include "cameraDescription.h"
#include "scarceMemory.h"
#include "zvLog.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

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

DescriptionTest::DescriptionTest() {
    zvUtilSetLogLevel(UTIL_LOG_TRACE);
    unsetenv("PATH_INFO");
    unsetenv("QUERY_STRING");
}

std::string DescriptionTest::describe() {
    watchMemory();
    AnswerStream stream;
    result_ = camera_description_output_json(stream);
    return std::string(textOf(stream));
}

bool DescriptionTest::lacksMemoryWithin(std::size_t most) {
    zvUtilSetLogLevel(UTIL_LOG_OFF);
    watchMemory();
    AnswerStream stream;
    const zvtest::ScarceMemory scarce(most);
    result_ = camera_description_output_json(stream);
    return lacksMemory(stream);
}
