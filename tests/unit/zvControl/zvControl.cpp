#include "zvControl.h"

#include "buildRevision.h"
#include "fakeHandlers.h"
#include "fakePlatform.h"
#include "outputCapture.h"
#include "scarceMemory.h"
#include "syslogCapture.h"
#include "wrappedWrite.h"
#include "zvLog.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <string>
#include <unistd.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using zvtest::fakeHandlers;
using zvtest::fakePlatform;
using zvtest::wrappedWrite;

struct Served {
    int result;
    std::string output;
    std::string errors;
};

void setVariable(const char* name, const char* value) {
    if (value == nullptr) {
        unsetenv(name);
    } else {
        setenv(name, value, 1);
    }
}

Served serve(const char* path, const char* params) {
    setVariable("PATH_INFO", path);
    setVariable("QUERY_STRING", params);
    const zvtest::OutputCapture output(STDOUT_FILENO);
    const zvtest::OutputCapture errors(STDERR_FILENO);
    const int result = zv_control_main();
    return {result, output.text(), errors.text()};
}

// Serves a request while operator new gives at most so many bytes at a time.
Served serveWithin(std::size_t most, const char* path, const char* params) {
    setVariable("PATH_INFO", path);
    setVariable("QUERY_STRING", params);
    const zvtest::OutputCapture output(STDOUT_FILENO);
    const zvtest::OutputCapture errors(STDERR_FILENO);
    int result = 99;
    {
        const zvtest::ScarceMemory scarce(most);
        result = zv_control_main();
    }
    return {result, output.text(), errors.text()};
}

// The settings of the camera's model.
void writeSettings(const std::string& text) {
    std::filesystem::create_directories("/usr/local/zarvo/etc/tessilon");
    std::ofstream("/usr/local/zarvo/etc/tessilon/settings.json", std::ios::binary) << text;
}

// The dispatcher's result for every request.
void answerWith(int result, const std::string& text = "") {
    fakePlatform().serve = [=](const char*, const char*, char* response, int size) {
        std::snprintf(response, static_cast<std::size_t>(size), "%s", text.c_str());
        return result;
    };
}

TEST(ZvControl, LogsTheRequestFirst) {
    zvtest::SyslogCapture log;
    answerWith(0);
    serve("/command/x", "a=1&b=2");
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].priority, 3);
    EXPECT_EQ(lines[0].text, "UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[/command/x] params[a=1&b=2]\n"
                             " @zvControl:100");
}

TEST(ZvControl, LogsMissingVariablesAsNullTexts) {
    zvtest::SyslogCapture log;
    serve(nullptr, nullptr);
    EXPECT_THAT(log.texts(), Contains("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[(null)] params[(null)]\n"
                                      " @zvControl:100"));
}

TEST(ZvControl, RaisesTheLogLevelToTrace) {
    answerWith(0);
    EXPECT_EQ(g_logLevel, 2);
    serve("/x", nullptr);
    EXPECT_EQ(g_logLevel, 6);
}

TEST(ZvControl, HandsPathQueryAndAZeroedBufferOf4096BytesToTheDispatcher) {
    bool zeroed = true;
    fakePlatform().serve = [&](const char*, const char*, char* response, int size) {
        for (int index = 0; index < size; ++index) {
            zeroed = zeroed && response[index] == '\0';
        }
        return 0;
    };
    serve("/command/x", "a=1");
    EXPECT_TRUE(zeroed);
    EXPECT_THAT(fakePlatform().calls, Contains("handle /command/x a=1 4096"));
}

TEST(ZvControl, ZeroesTheBufferAgainAtTheNextStart) {
    answerWith(0, "{\"left\":1}");
    serve("/x", nullptr);
    fakePlatform().serve = [](const char*, const char*, char*, int) { return 0; };
    EXPECT_EQ(serve("/x", nullptr).output, "<success header>\n<empty json>");
}

TEST(ZvControl, PassesAMissingQueryOnAsNull) {
    answerWith(0);
    serve("/x", nullptr);
    EXPECT_THAT(fakePlatform().calls, Contains("handle /x (null) 4096"));
}

TEST(ZvControl, OpensRegistersDispatchesAndClosesInThisOrder) {
    answerWith(0);
    serve("/x", "q");
    EXPECT_THAT(fakePlatform().calls,
                ElementsAre("open", "add command/ble/pairing_available", "add command/ble/pairing_phase",
                            "add command/ble/configure", "add command/ble/scan", "add command/ble/scan/list",
                            "add command/ble/pair/start", "add command/ble/pair/cancel", "add command/ble/pair/status",
                            "add command/ble/whitelist/list", "add command/ble/whitelist/configure",
                            "add command/ble/whitelist/device", "add execute", "add analytics/get",
                            "add analytics/clear", "handle /x q 4096", "close"));
}

TEST(ZvControl, MissingPathYieldsTheDescriptionWithoutOpeningTheInterface) {
    fakePlatform().getter_results["model_number"] = -7;
    const Served served = serve(nullptr, "q=1");
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.output, "<error (null)|q=1|500|-7|zvc_state_get_model_number|"
                             "camera_description_output_json|228>");
    EXPECT_THAT(fakePlatform().calls, ElementsAre("model_number"));
}

TEST(ZvControl, EmptyPathYieldsTheDescriptionWithoutOpeningTheInterface) {
    fakePlatform().getter_results["model_number"] = -7;
    const Served served = serve("", nullptr);
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.output, "<error |(null)|500|-7|zvc_state_get_model_number|"
                             "camera_description_output_json|228>");
    EXPECT_THAT(fakePlatform().calls, ElementsAre("model_number"));
}

TEST(ZvControl, MissingSettingsAreAnsweredWithAnErrorAndTheResultIs0) {
    const Served served = serve("", "q=1");
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.output, "<error |q=1|500|-10|/usr/local/zarvo/etc/abru/settings.json|"
                             "camera_description_output_json|331>");
}

TEST(ZvControl, SaysNothingWhenTheInterfaceDoesNotOpen) {
    zvtest::SyslogCapture log;
    fakePlatform().open_result = -5;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, -5);
    EXPECT_EQ(served.output, "");
    EXPECT_EQ(served.errors, "");
    EXPECT_THAT(fakePlatform().calls, ElementsAre("open"));
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("UTIL_LOG_DEBUG:Executing"),
                                         "UTIL_LOG_ERROR:Error[-5] opening the daemon interface\n @zvControl:120"));
}

TEST(ZvControl, SaysNothingAndClosesWhenARowCannotBeRegistered) {
    zvtest::SyslogCapture log;
    fakePlatform().failing_row = 3;
    fakePlatform().add_result = -3;
    fakePlatform().close_result = -9;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, -3);
    EXPECT_EQ(served.output, "");
    EXPECT_EQ(served.errors, "");
    EXPECT_THAT(fakePlatform().calls,
                ElementsAre("open", "add command/ble/pairing_available", "add command/ble/pairing_phase",
                            "add command/ble/configure", "close"));
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("UTIL_LOG_DEBUG:Executing"),
                                         "UTIL_LOG_ERROR:Unable to add custom handlers err:-3 at line:128\n"
                                         " @zvControl:128"));
}

TEST(ZvControl, AnyResultBut0StopsTheRegistration) {
    fakePlatform().failing_row = 14;
    fakePlatform().add_result = 1;
    EXPECT_EQ(serve("/x", nullptr).result, 1);
    EXPECT_EQ(fakePlatform().calls.back(), "close");
    EXPECT_EQ(fakePlatform().calls.size(), 16U);
}

TEST(ZvControl, SuccessWithAnEmptyBufferAnswersAnEmptyObject) {
    answerWith(0);
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.output, "<success header>\n<empty json>");
}

TEST(ZvControl, SuccessAnswersTheBuffersTextAndNothingMore) {
    answerWith(0, "{\"a\":1}\n");
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.output, "<success header>\n{\"a\":1}\n");
}

TEST(ZvControl, ABufferFilledToItsLastByteIsNotReadBeyond) {
    fakePlatform().serve = [](const char*, const char*, char* response, int size) {
        std::memset(response, 'x', static_cast<std::size_t>(size));
        return 0;
    };
    EXPECT_EQ(serve("/x", nullptr).output, "<success header>\n" + std::string(4096, 'x'));
}

TEST(ZvControl, UnknownRequestAnswers400WithACodeAndATextOfItsOwn) {
    const Served served = serve("/nowhere", "a=1");
    EXPECT_EQ(served.result, -20);
    EXPECT_EQ(served.output, "<error /nowhere|a=1|400|-3|unknown request|main|143>");
}

TEST(ZvControl, IncompleteParametersAnswer400WithThePathAsMessage) {
    answerWith(-4, "ignored");
    const Served served = serve("/x", "a=1");
    EXPECT_EQ(served.result, -4);
    EXPECT_EQ(served.output, "<error /x|a=1|400|-4|/x|main|150>");
}

TEST(ZvControl, AnyOtherResultAnswers500WithThePathAsMessage) {
    for (const int result : {-1, -3, -5, -17, -19, -21, -100, 1, 7}) {
        answerWith(result);
        const Served served = serve("/x", nullptr);
        EXPECT_EQ(served.result, result);
        EXPECT_EQ(served.output, "<error /x|(null)|500|" + std::to_string(result) + "|/x|main|150>");
    }
}

TEST(ZvControl, AnErrorAnswerReadsTheEnvironmentAgain) {
    fakePlatform().serve = [](const char*, const char*, char*, int) {
        setenv("PATH_INFO", "/changed", 1);
        setenv("QUERY_STRING", "c=2", 1);
        return -1;
    };
    EXPECT_EQ(serve("/x", "a=1").output, "<error /changed|c=2|500|-1|/changed|main|150>");
}

TEST(ZvControl, AnErrorAnswerSurvivesVariablesThatHaveGone) {
    fakePlatform().serve = [](const char*, const char*, char*, int) {
        unsetenv("PATH_INFO");
        unsetenv("QUERY_STRING");
        return -4;
    };
    EXPECT_EQ(serve("/x", "a=1").output, "<error (null)|(null)|400|-4|(null)|main|150>");
}

TEST(ZvControl, WritesNothingWhenTheHandlerHasAnswered) {
    fakePlatform().serve = [](const char*, const char*, char* response, int) {
        response[0] = 'x';
        return write(STDOUT_FILENO, "own answer", 10) == 10 ? -18 : 0;
    };
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, -18);
    EXPECT_EQ(served.output, "own answer");
    EXPECT_EQ(fakePlatform().calls.back(), "close");
}

TEST(ZvControl, AFailingCloseIsToldOnStandardErrorWithTheRequestsResult) {
    answerWith(0, "{}");
    fakePlatform().close_result = -5;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.output, "<success header>\n{}");
    EXPECT_EQ(served.errors, "Error[0] closing the daemon interface\n");
}

TEST(ZvControl, AFailingCloseAfterAFailedRequestTellsItsResultToo) {
    answerWith(-1);
    fakePlatform().close_result = -5;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, -1);
    EXPECT_EQ(served.output, "<error /x|(null)|500|-1|/x|main|150>");
    EXPECT_EQ(served.errors, "Error[-1] closing the daemon interface\n");
}

TEST(ZvControl, AFailingCloseAfterAHandlersOwnAnswerTellsItsResultToo) {
    answerWith(-18);
    fakePlatform().close_result = -5;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, -18);
    EXPECT_EQ(served.output, "");
    EXPECT_EQ(served.errors, "Error[-18] closing the daemon interface\n");
}

TEST(ZvControl, ACloseThatSucceedsIsSilent) {
    answerWith(-1);
    EXPECT_EQ(serve("/x", nullptr).errors, "");
}

TEST(ZvControl, ServesACustomUriWithItsHooksAroundTheHandler) {
    fakeHandlers().text = "{\"status\":2}";
    const Served served = serve("/command/ble/pair/status", "x=1");
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.output, "<success header>\n{\"status\":2}");
    const auto& calls = fakePlatform().calls;
    ASSERT_EQ(calls.size(), 20U);
    EXPECT_THAT(std::vector<std::string>(calls.begin() + 15, calls.end()),
                ElementsAre("handle /command/ble/pair/status x=1 4096", "ble_interface_open", "ble_pair_status x=1",
                            "ble_interface_close", "close"));
}

TEST(ZvControl, WritesTheAnswerInOnePiece) {
    answerWith(0, std::string(4095, 'x'));
    serve("/x", nullptr);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(17 + 4095));
}

TEST(ZvControl, WritesTheWholeAnswerWhenWriteTakesPartsOrIsInterrupted) {
    answerWith(0, "{\"a\":1}");
    wrappedWrite().script = {{3, 0}, {0, EINTR}, {1, 0}, {0, EINTR}};
    EXPECT_EQ(serve("/x", nullptr).output, "<success header>\n{\"a\":1}");
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(24, 21, 21, 20, 20));
}

TEST(ZvControl, WritesAnErrorAnswerWholeAsWell) {
    wrappedWrite().script = {{1, 0}, {0, EINTR}};
    EXPECT_EQ(serve("/x", nullptr).output, "<error /x|(null)|400|-3|unknown request|main|143>");
}

TEST(ZvControl, AnAnswerThatCannotBeWrittenChangesNothingElse) {
    answerWith(0, "{}");
    wrappedWrite().script = {{5, 0}, {0, EIO}};
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(served.result, 0);
    EXPECT_EQ(served.output, "<succ");
    EXPECT_EQ(fakePlatform().calls.back(), "close");
}

TEST(ZvControl, WithoutMemoryForASuccessSaysNothingAndFails) {
    answerWith(0, "{\"a\":1}");
    const Served served = serveWithin(1, "/x", "a=1");
    EXPECT_EQ(served.result, -2);
    EXPECT_EQ(served.output, "");
    EXPECT_EQ(served.errors, "");
    EXPECT_THAT(fakePlatform().calls, Contains("handle /x a=1 4096"));
    EXPECT_EQ(fakePlatform().calls.back(), "close");
}

TEST(ZvControl, WithoutMemoryForTheBuffersTextNoHalfOfItIsSaid) {
    answerWith(0, std::string(4095, 'x'));
    const Served served = serveWithin(1024, "/x", nullptr);
    EXPECT_EQ(served.result, -2);
    EXPECT_EQ(served.output, "");
}

TEST(ZvControl, WithoutMemoryForAnErrorAnswerSaysNothingAndFails) {
    for (const int code : {-20, -4, -1}) {
        answerWith(code);
        const Served served = serveWithin(1, "/x", nullptr);
        EXPECT_EQ(served.result, -2) << code;
        EXPECT_EQ(served.output, "") << code;
    }
}

TEST(ZvControl, WithoutMemoryAnAnswerOfTheHandlersOwnStands) {
    fakePlatform().serve = [](const char*, const char*, char*, int) {
        return write(STDOUT_FILENO, "own answer", 10) == 10 ? -18 : 0;
    };
    const Served served = serveWithin(1, "/x", nullptr);
    EXPECT_EQ(served.result, -18);
    EXPECT_EQ(served.output, "own answer");
}

TEST(ZvControl, AFailingCloseTellsTheDispatchersResultAlsoWithoutMemory) {
    answerWith(-17);
    fakePlatform().close_result = -5;
    const Served served = serveWithin(1, "/x", nullptr);
    EXPECT_EQ(served.result, -2);
    EXPECT_EQ(served.output, "");
    EXPECT_EQ(served.errors, "Error[-17] closing the daemon interface\n");
}

TEST(ZvControl, WithoutMemoryForTheSettingsSaysNothingAndFails) {
    writeSettings("{\"a\":{}," + std::string(5000, ' ') + "\"b\":1}");
    const Served served = serveWithin(2000, nullptr, nullptr);
    EXPECT_EQ(served.result, -2);
    EXPECT_EQ(served.output, "");
}

TEST(ZvControl, WithoutMemoryForTheErrorAnswerOfTheDescriptionSaysNothingAndFails) {
    fakePlatform().getter_results["model_number"] = -7;
    const Served getter = serveWithin(1, nullptr, nullptr);
    EXPECT_EQ(getter.result, -2);
    EXPECT_EQ(getter.output, "");
    fakePlatform().getter_results["model_number"] = 0;
    const Served settings = serveWithin(1, nullptr, nullptr);
    EXPECT_EQ(settings.result, -2);
    EXPECT_EQ(settings.output, "");
}

TEST(ZvControl, WhateverMemoryThereIsTheDescriptionIsAnsweredWholeOrNotAtAll) {
    writeSettings("{\"a\":{},\n" + std::string(600, ' ') + "\"b\":{},\n" + std::string(900, ' ') + "\"c\":{}}\n");
    const Served whole = serve(nullptr, nullptr);
    EXPECT_EQ(whole.result, 0);
    ASSERT_EQ(whole.output, "<success header>\n{\"a\":{}," + std::string(600, ' ') + "\"b\":{}," +
                                std::string(900, ' ') +
                                "\"c\":{},\n\"info\":{\"model_number\":12,\"model_name\":\"Tess 12\","
                                "\"firmware_version\":\"3.4.5\",\"serial_number\":\"SN0001\","
                                "\"board_type\":\"B7\",\"ap_mac\":\"020304050607\",\"ap_ssid\":\"zarvo-0001\","
                                "\"ap_has_default_credentials\":\"0\",\"git_sha1\":\"" +
                                std::string(build_revision) + "\"}}");
    int answered = 0;
    for (std::size_t most = 0; most < 5000; most += 10) {
        const Served served = serveWithin(most, nullptr, nullptr);
        answered += served.result == 0 ? 1 : 0;
        ASSERT_EQ(served.result, served.output.empty() ? -2 : 0) << most;
        ASSERT_EQ(served.output, served.result == 0 ? whole.output : "") << most;
    }
    EXPECT_GT(answered, 0);
    EXPECT_LT(answered, 500);
}

TEST(ZvControl, TakesPathAndQueryOf100Kilobytes) {
    const std::string path = "/" + std::string(100000, 'p');
    const std::string params = "a=" + std::string(100000, 'q');
    zvtest::SyslogCapture log;
    const Served served = serve(path.c_str(), params.c_str());
    EXPECT_EQ(served.output, "<error " + path + "|" + params + "|400|-3|unknown request|main|143>");
    const std::string start = "UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[/";
    EXPECT_THAT(log.texts(), ElementsAre(start + std::string(349 - start.size(), 'p') + " @zvControl:100"));
}

} // namespace
