// What the program answers when memory runs out.
#include "buildRevision.h"
#include "child.h"
#include "descriptionTest.h"
#include "fakePlatform.h"
#include "serving.h"

#include <exception>
#include <gmock/gmock.h>
#include <new>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

using testing::Contains;
using zvtest::fakePlatform;

TEST(ZvControlMemory, WithoutMemoryForASuccessSaysNothingAndFails) {
    answerWith(0, "{\"a\":1}");
    const Served served = serveWithin(1, "/x", "a=1");
    EXPECT_EQ(-2, served.result);
    EXPECT_EQ("", served.output);
    EXPECT_EQ("", served.errors);
    EXPECT_THAT(fakePlatform().calls, Contains("handle /x a=1 4096"));
    EXPECT_EQ("close", fakePlatform().calls.back());
}

TEST(ZvControlMemory, WithoutMemoryForTheBuffersTextNoHalfOfItIsSaid) {
    answerWith(0, std::string(4095, 'x'));
    const Served served = serveWithin(1024, "/x", nullptr);
    EXPECT_EQ(-2, served.result);
    EXPECT_EQ("", served.output);
}

TEST(ZvControlMemory, WithoutMemoryForAnErrorAnswerSaysNothingAndFails) {
    for (const int code : {-20, -4, -1}) {
        answerWith(code);
        const Served served = serveWithin(1, "/x", nullptr);
        EXPECT_EQ(-2, served.result) << code;
        EXPECT_EQ("", served.output) << code;
    }
}

TEST(ZvControlMemory, WithoutMemoryAnAnswerOfTheHandlersOwnStands) {
    fakePlatform().serve = [](const char*, const char*, char*, int) {
        return write(STDOUT_FILENO, "own answer", 10) == 10 ? -18 : 0;
    };
    const Served served = serveWithin(1, "/x", nullptr);
    EXPECT_EQ(-18, served.result);
    EXPECT_EQ("own answer", served.output);
}

TEST(ZvControlMemory, AFailingCloseTellsTheDispatchersResultAlsoWithoutMemory) {
    answerWith(-17);
    fakePlatform().closeResult = -5;
    const Served served = serveWithin(1, "/x", nullptr);
    EXPECT_EQ(-2, served.result);
    EXPECT_EQ("", served.output);
    EXPECT_EQ("Error[-17] closing the daemon interface\n", served.errors);
}

TEST(ZvControlMemory, WithoutMemoryForTheSettingsSaysNothingAndFails) {
    writeSettings("tessilon", "{\"a\":{}," + std::string(5000, ' ') + "\"b\":1}");
    const Served served = serveWithin(2000, nullptr, nullptr);
    EXPECT_EQ(-2, served.result);
    EXPECT_EQ("", served.output);
}

TEST(ZvControlMemory, WithoutMemoryForTheErrorAnswerOfTheDescriptionSaysNothingAndFails) {
    fakePlatform().getterResults["model_number"] = -7;
    const Served getter = serveWithin(1, nullptr, nullptr);
    EXPECT_EQ(-2, getter.result);
    EXPECT_EQ("", getter.output);
    fakePlatform().getterResults["model_number"] = 0;
    const Served settings = serveWithin(1, nullptr, nullptr);
    EXPECT_EQ(-2, settings.result);
    EXPECT_EQ("", settings.output);
}

TEST(ZvControlMemory, WhateverMemoryThereIsTheDescriptionIsAnsweredWholeOrNotAtAll) {
    writeSettings("tessilon",
                  "{\"a\":{},\n" + std::string(600, ' ') + "\"b\":{},\n" + std::string(900, ' ') + "\"c\":{}}\n");
    const Served whole = serve(nullptr, nullptr);
    EXPECT_EQ(0, whole.result);
    ASSERT_EQ("<success header>\n{\"a\":{}," + std::string(600, ' ') + "\"b\":{}," + std::string(900, ' ') +
                  "\"c\":{},\n\"info\":{\"model_number\":12,\"model_name\":\"Tess 12\","
                  "\"firmware_version\":\"3.4.5\",\"serial_number\":\"SN0001\","
                  "\"board_type\":\"B7\",\"ap_mac\":\"020304050607\",\"ap_ssid\":\"zarvo-0001\","
                  "\"ap_has_default_credentials\":\"0\",\"git_sha1\":\"" +
                  std::string(buildRevision) + "\"}}",
              whole.output);
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

// A function that lets nothing out, like a destructor of a closed library.
void callClosed(void (*function)()) noexcept {
    function();
}

// How a program ends that serves a request with a library of such a function, and with that library's own handler.
zvtest::Ended endWith(void (*function)()) {
    return zvtest::inChild([function] {
        std::set_terminate([] { _exit(7); });
        fakePlatform().serve = [function](const char*, const char*, char*, int) {
            callClosed(function);
            return 0;
        };
        serve("/x", nullptr);
    });
}

TEST(ZvControlMemory, LackOfMemoryThatNobodyCatchesEndsTheProgramByItsCode) {
    EXPECT_EQ(254, endWith([] { throw std::bad_alloc(); }).status);
    EXPECT_EQ(254, endWith([] { std::terminate(); }).status); // as for an exception that there is no memory for
}

TEST(ZvControlMemory, AnotherExceptionThatNobodyCatchesIsTheLibrarysOwn) {
    EXPECT_EQ(7, endWith([] { throw std::runtime_error("closed"); }).status);
}

} // namespace
