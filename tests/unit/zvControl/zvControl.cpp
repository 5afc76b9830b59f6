#include "zvControl.h"

#include "fakeHandlers.h"
#include "fakePlatform.h"
#include "serving.h"
#include "syslogCapture.h"
#include "wrappedWrite.h"
#include "writeAnswer.h"
#include "zvLog.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <string>
#include <unistd.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::MatchesRegex;
using testing::StartsWith;
using zvtest::fakeHandlers;
using zvtest::fakePlatform;
using zvtest::wrappedWrite;

TEST(ZvControl, LogsTheRequestFirst) {
    zvtest::SyslogCapture log;
    answerWith(0);
    serve("/command/x", "a=1&b=2");
    const auto lines = log.take();
    ASSERT_EQ(1U, lines.size());
    EXPECT_EQ(3, lines[0].priority);
    EXPECT_EQ("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[/command/x] params[a=1&b=2]\n"
              " @zvControl:100",
              lines[0].text);
}

TEST(ZvControl, LogsMissingVariablesAsNullTexts) {
    zvtest::SyslogCapture log;
    serve(nullptr, nullptr);
    EXPECT_THAT(log.texts(), Contains("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[(null)] params[(null)]\n"
                                      " @zvControl:100"));
}

TEST(ZvControl, RaisesTheLogLevelToTrace) {
    answerWith(0);
    EXPECT_EQ(2, g_logLevel);
    serve("/x", nullptr);
    EXPECT_EQ(6, g_logLevel);
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
    EXPECT_EQ("<success header>\n<empty json>", serve("/x", nullptr).output);
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
    fakePlatform().getterResults["model_number"] = -7;
    const Served served = serve(nullptr, "q=1");
    EXPECT_EQ(0, served.result);
    EXPECT_EQ("<error (null)|q=1|500|-7|zvc_state_get_model_number|"
              "camera_description_output_json|228>",
              served.output);
    EXPECT_THAT(fakePlatform().calls, ElementsAre("model_number"));
}

TEST(ZvControl, EmptyPathYieldsTheDescriptionWithoutOpeningTheInterface) {
    fakePlatform().getterResults["model_number"] = -7;
    const Served served = serve("", nullptr);
    EXPECT_EQ(0, served.result);
    EXPECT_EQ("<error |(null)|500|-7|zvc_state_get_model_number|"
              "camera_description_output_json|228>",
              served.output);
    EXPECT_THAT(fakePlatform().calls, ElementsAre("model_number"));
}

TEST(ZvControl, MissingSettingsAreAnsweredWithAnErrorAndTheResultIs0) {
    const Served served = serve("", "q=1");
    EXPECT_EQ(0, served.result);
    EXPECT_EQ("<error |q=1|500|-10|/usr/local/zarvo/etc/abru/settings.json|"
              "camera_description_output_json|331>",
              served.output);
}

TEST(ZvControl, SaysNothingWhenTheInterfaceDoesNotOpen) {
    zvtest::SyslogCapture log;
    fakePlatform().openResult = -5;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(-5, served.result);
    EXPECT_EQ("", served.output);
    EXPECT_EQ("", served.errors);
    EXPECT_THAT(fakePlatform().calls, ElementsAre("open"));
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("UTIL_LOG_DEBUG:Executing"),
                                         "UTIL_LOG_ERROR:Error[-5] opening the daemon interface\n @zvControl:120"));
}

TEST(ZvControl, SaysNothingAndClosesWhenARowCannotBeRegistered) {
    zvtest::SyslogCapture log;
    fakePlatform().failingRow = 3;
    fakePlatform().addResult = -3;
    fakePlatform().closeResult = -9;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(-3, served.result);
    EXPECT_EQ("", served.output);
    EXPECT_EQ("", served.errors);
    EXPECT_THAT(fakePlatform().calls,
                ElementsAre("open", "add command/ble/pairing_available", "add command/ble/pairing_phase",
                            "add command/ble/configure", "close"));
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("UTIL_LOG_DEBUG:Executing"),
                                         "UTIL_LOG_ERROR:Unable to add custom handlers err:-3 at line:128\n"
                                         " @zvControl:128"));
}

TEST(ZvControl, AnyResultBut0StopsTheRegistration) {
    fakePlatform().failingRow = 14;
    fakePlatform().addResult = 1;
    EXPECT_EQ(1, serve("/x", nullptr).result);
    EXPECT_EQ("close", fakePlatform().calls.back());
    EXPECT_EQ(16U, fakePlatform().calls.size());
}

TEST(ZvControl, SuccessWithAnEmptyBufferAnswersAnEmptyObject) {
    answerWith(0);
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(0, served.result);
    EXPECT_EQ("<success header>\n<empty json>", served.output);
}

TEST(ZvControl, SuccessAnswersTheBuffersTextAndNothingMore) {
    answerWith(0, "{\"a\":1}\n");
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(0, served.result);
    EXPECT_EQ("<success header>\n{\"a\":1}\n", served.output);
}

TEST(ZvControl, ABufferFilledToItsLastByteIsNotReadBeyond) {
    fakePlatform().serve = [](const char*, const char*, char* response, int size) {
        std::memset(response, 'x', static_cast<std::size_t>(size));
        return 0;
    };
    EXPECT_EQ("<success header>\n" + std::string(4096, 'x'), serve("/x", nullptr).output);
}

TEST(ZvControl, UnknownRequestAnswers400WithACodeAndATextOfItsOwn) {
    const Served served = serve("/nowhere", "a=1");
    EXPECT_EQ(-20, served.result);
    EXPECT_EQ("<error /nowhere|a=1|400|-3|unknown request|main|143>", served.output);
}

TEST(ZvControl, IncompleteParametersAnswer400WithThePathAsMessage) {
    answerWith(-4, "ignored");
    const Served served = serve("/x", "a=1");
    EXPECT_EQ(-4, served.result);
    EXPECT_EQ("<error /x|a=1|400|-4|/x|main|150>", served.output);
}

TEST(ZvControl, AnyOtherResultAnswers500WithThePathAsMessage) {
    for (const int result : {-1, -3, -5, -17, -19, -21, -100, 1, 7}) {
        answerWith(result);
        const Served served = serve("/x", nullptr);
        EXPECT_EQ(served.result, result);
        EXPECT_EQ("<error /x|(null)|500|" + std::to_string(result) + "|/x|main|150>", served.output);
    }
}

TEST(ZvControl, AnErrorAnswerReadsTheEnvironmentAgain) {
    fakePlatform().serve = [](const char*, const char*, char*, int) {
        setenv("PATH_INFO", "/changed", 1);
        setenv("QUERY_STRING", "c=2", 1);
        return -1;
    };
    EXPECT_EQ("<error /changed|c=2|500|-1|/changed|main|150>", serve("/x", "a=1").output);
}

TEST(ZvControl, AnErrorAnswerSurvivesVariablesThatHaveGone) {
    fakePlatform().serve = [](const char*, const char*, char*, int) {
        unsetenv("PATH_INFO");
        unsetenv("QUERY_STRING");
        return -4;
    };
    EXPECT_EQ("<error (null)|(null)|400|-4|(null)|main|150>", serve("/x", "a=1").output);
}

TEST(ZvControl, WritesNothingWhenTheHandlerHasAnswered) {
    fakePlatform().serve = [](const char*, const char*, char* response, int) {
        response[0] = 'x';
        return write(STDOUT_FILENO, "own answer", 10) == 10 ? -18 : 0;
    };
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(-18, served.result);
    EXPECT_EQ("own answer", served.output);
    EXPECT_EQ("close", fakePlatform().calls.back());
}

TEST(ZvControl, AFailingCloseIsToldOnStandardErrorWithTheRequestsResult) {
    answerWith(0, "{}");
    fakePlatform().closeResult = -5;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(0, served.result);
    EXPECT_EQ("<success header>\n{}", served.output);
    EXPECT_EQ("Error[0] closing the daemon interface\n", served.errors);
}

TEST(ZvControl, AFailingCloseAfterAFailedRequestTellsItsResultToo) {
    answerWith(-1);
    fakePlatform().closeResult = -5;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(-1, served.result);
    EXPECT_EQ("<error /x|(null)|500|-1|/x|main|150>", served.output);
    EXPECT_EQ("Error[-1] closing the daemon interface\n", served.errors);
}

TEST(ZvControl, AFailingCloseAfterAHandlersOwnAnswerTellsItsResultToo) {
    answerWith(-18);
    fakePlatform().closeResult = -5;
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(-18, served.result);
    EXPECT_EQ("", served.output);
    EXPECT_EQ("Error[-18] closing the daemon interface\n", served.errors);
}

TEST(ZvControl, ACloseThatSucceedsIsSilent) {
    answerWith(-1);
    EXPECT_EQ("", serve("/x", nullptr).errors);
}

TEST(ZvControl, ServesACustomUriWithItsHooksAroundTheHandler) {
    fakeHandlers().text = "{\"status\":2}";
    const Served served = serve("/command/ble/pair/status", "x=1");
    EXPECT_EQ(0, served.result);
    EXPECT_EQ("<success header>\n{\"status\":2}", served.output);
    const auto& calls = fakePlatform().calls;
    ASSERT_EQ(20U, calls.size());
    EXPECT_THAT(std::vector<std::string>(calls.begin() + 15, calls.end()),
                ElementsAre("handle /command/ble/pair/status x=1 4096", "ble_interface_open", "ble_pair_status x=1",
                            "ble_interface_close", "close"));
}

TEST(ZvControl, WritesTheAnswerBehindWhatWasPrinted) {
    fakePlatform().serve = [](const char*, const char*, char*, int) {
        std::printf("report\n");
        return 0;
    };
    EXPECT_EQ("report\n<success header>\n<empty json>", serve("/x", nullptr).output);
}

TEST(ZvControl, WritesTheAnswerInOnePiece) {
    answerWith(0, std::string(4095, 'x'));
    serve("/x", nullptr);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(17 + 4095));
}

TEST(ZvControl, WritesTheWholeAnswerWhenWriteTakesPartsOrIsInterrupted) {
    answerWith(0, "{\"a\":1}");
    wrappedWrite().script = {{3, 0}, {0, EINTR}, {1, 0}, {0, EINTR}};
    EXPECT_EQ("<success header>\n{\"a\":1}", serve("/x", nullptr).output);
    EXPECT_THAT(wrappedWrite().sizes, ElementsAre(24, 21, 21, 20, 20));
}

TEST(ZvControl, WritesAnErrorAnswerWholeAsWell) {
    wrappedWrite().script = {{1, 0}, {0, EINTR}};
    EXPECT_EQ("<error /x|(null)|400|-3|unknown request|main|143>", serve("/x", nullptr).output);
}

TEST(ZvControl, AnAnswerThatCannotBeWrittenChangesNothingElse) {
    answerWith(0, "{}");
    wrappedWrite().script = {{5, 0}, {0, EIO}};
    const Served served = serve("/x", nullptr);
    EXPECT_EQ(0, served.result);
    EXPECT_EQ("<succ", served.output);
    EXPECT_EQ("close", fakePlatform().calls.back());
}

TEST(ZvControl, AnAnswerThatCannotBeWrittenIsOneErrorLine) {
    zvtest::SyslogCapture log;
    answerWith(0, "{}");
    wrappedWrite().script = {{5, 0}, {0, EIO}};
    serve("/x", nullptr);
    const auto lines = log.texts();
    ASSERT_EQ(2U, lines.size());
    EXPECT_THAT(lines[1],
                MatchesRegex("UTIL_LOG_ERROR:Failed to write the answer: Input/output error\n @zvControl:[0-9]+"));
    serve("/x", nullptr);
    EXPECT_THAT(log.texts(), ElementsAre(StartsWith("UTIL_LOG_DEBUG:Executing")));
}

TEST(ZvControl, ADescriptionOrAHandlersOwnAnswerThatCannotBeWrittenIsAnErrorLineToo) {
    zvtest::SyslogCapture log;
    wrappedWrite().script = {{0, EPIPE}};
    fakePlatform().getterResults["model_number"] = -7;
    EXPECT_EQ(0, serve("", nullptr).result);
    EXPECT_THAT(log.texts(),
                Contains(StartsWith("UTIL_LOG_ERROR:Failed to write the answer: Broken pipe\n @zvControl:")));
    wrappedWrite().script = {{0, ENOSPC}};
    fakePlatform().serve = [](const char*, const char*, char*, int) { return writeOutput("own answer") ? 0 : -18; };
    EXPECT_EQ(-18, serve("/x", nullptr).result);
    EXPECT_THAT(log.texts(), Contains(StartsWith(
                                 "UTIL_LOG_ERROR:Failed to write the answer: No space left on device\n @zvControl:")));
}

TEST(ZvControl, TakesPathAndQueryOf100Kilobytes) {
    const std::string path = "/" + std::string(100000, 'p');
    const std::string params = "a=" + std::string(100000, 'q');
    zvtest::SyslogCapture log;
    const Served served = serve(path.c_str(), params.c_str());
    EXPECT_EQ("<error " + path + "|" + params + "|400|-3|unknown request|main|143>", served.output);
    const std::string start = "UTIL_LOG_DEBUG:Executing zvControl-cgi-bin path[/";
    EXPECT_THAT(log.texts(), ElementsAre(start + std::string(349 - start.size(), 'p') + " @zvControl:100"));
}

} // namespace
