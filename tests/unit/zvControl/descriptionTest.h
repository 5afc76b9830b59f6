// A camera description, made of scripted camera state and of settings that a test writes.
#pragma once

#include "syslogCapture.h"

#include <gmock/gmock.h>
#include <string>

// Where the settings of all models stand.
inline const std::string etc = "/usr/local/zarvo/etc/";

void writeSettings(const std::string& model, const std::string& text);

// The end of a document: the "info" object of the scripted state.
std::string info(const std::string& modelNumber);

class DescriptionTest : public testing::Test {
protected:
    // The log level is the highest, and the request's variables are not set.
    DescriptionTest();

    // The text of the description; its result is in result_.
    std::string describe();
    // The same while operator new gives at most so many bytes at a time; true when that was not enough. Nothing is
    // logged, since the log capture needs more.
    bool lacksMemoryWithin(std::size_t most);

    int result_ = 99;
    zvtest::SyslogCapture log_;
};
