// The program itself, with the real libraries, in an environment that holds nothing but what the test says.
#include "Process.h"
#include "SyslogCapture.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using zvtest::Finished;
using zvtest::runProgram;

constexpr const char* name = "zvControl-cgi-bin";

TEST(program, without_any_environment_answers_the_description_and_ends_with_0) {
    zvtest::SyslogCapture log;
    const Finished program = runProgram(name, {}, {});
    EXPECT_EQ(program.status, 0);
    // No control daemon runs here, so its first question fails.
    EXPECT_EQ(program.output, "Status: 500 Internal Server Error\r\nContent-Type: application/json\r\n\r\n"
                              "{\"status\":\"zvc_state_get_model_number\",\"zverr\":-1,"
                              "\"_function\":\"camera_description_output_json\",\"_line\":228,"
                              "\"path\":\"\",\"query\":\"\"}");
    EXPECT_EQ(program.errors, "");
    EXPECT_THAT(
        log.texts(),
        ElementsAre("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[(null)] params[(null)]\n @zvControl:100",
                    "UTIL_LOG_ERROR:zvc_state_get_model_number err, -1\n @zvControl:226"));
}

TEST(program, without_the_control_daemon_says_nothing_and_ends_with_the_codes_low_8_bits) {
    zvtest::SyslogCapture log;
    const Finished program = runProgram(name, {}, {"PATH_INFO=/execute"});
    EXPECT_EQ(program.status, 255);
    EXPECT_EQ(program.output, "");
    EXPECT_EQ(program.errors, "");
    EXPECT_THAT(
        log.texts(),
        ElementsAre(
            "UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[/execute] params[(null)]\n @zvControl:100",
            "UTIL_LOG_ERROR:Error[-1] opening the daemon interface\n @zvControl:120"));
}

TEST(program, runs_without_a_system_log) {
    EXPECT_EQ(runProgram(name, {}, {"PATH_INFO=/execute"}).status, 255);
}

} // namespace
