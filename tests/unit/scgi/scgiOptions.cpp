#include "scgiOptions.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <vector>

namespace {

struct Read {
    explicit Read(std::vector<std::string> words) {
        std::vector<char*> argv = {const_cast<char*>("zvControl-scgi")};
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        wrong = readScgiOptions(static_cast<int>(argv.size()), argv.data(), options);
    }

    ScgiOptions options;
    std::string wrong;
};

TEST(ScgiOptions, HaveDefaults) {
    const Read read({});
    EXPECT_EQ("", read.wrong);
    EXPECT_EQ("", read.options.socket);
    EXPECT_EQ(0660U, read.options.mode);
    EXPECT_EQ(static_cast<uid_t>(-1), read.options.user);
    EXPECT_EQ(static_cast<gid_t>(-1), read.options.group);
    EXPECT_EQ(64U, read.options.children);
    EXPECT_FALSE(read.options.help);
}

TEST(ScgiOptions, AreRead) {
    const Read read({"--socket", "/run/a", "--mode", "600", "--owner", "7:8", "--children", "3"});
    EXPECT_EQ("", read.wrong);
    EXPECT_EQ("/run/a", read.options.socket);
    EXPECT_EQ(0600U, read.options.mode);
    EXPECT_EQ(7U, read.options.user);
    EXPECT_EQ(8U, read.options.group);
    EXPECT_EQ(3U, read.options.children);
}

TEST(ScgiOptions, AUserAloneLeavesTheGroup) {
    const Read read({"--socket", "a", "--owner", "0"});
    EXPECT_EQ(0U, read.options.user);
    EXPECT_EQ(static_cast<gid_t>(-1), read.options.group);
}

TEST(ScgiOptions, TakesTheNamesOfThisSystem) {
    const Read read({"--socket", "a", "--owner", "daemon:www-data"});
    EXPECT_EQ("", read.wrong);
    EXPECT_EQ(1U, read.options.user);
    EXPECT_EQ(33U, read.options.group);
}

TEST(ScgiOptions, HelpNeedsNothingElse) {
    EXPECT_TRUE(Read({"--help"}).options.help);
    EXPECT_TRUE(Read({"--children", "3", "--help"}).options.help);
}

TEST(ScgiOptions, WhatIsWrongIsSaid) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> all = {
        {{"--sockets", "a"}, "--sockets is no option; --help lists them"},
        {{"/run/a"}, "/run/a is no option; --help lists them"},
        {{"--socket"}, "--socket: its value is missing"},
        {{"--socket", ""}, "--socket: must be the path of a socket, not ''"},
        {{"--mode", "668"}, "--mode: must be octal digits up to 777, not '668'"},
        {{"--mode", "1777"}, "--mode: must be octal digits up to 777, not '1777'"},
        {{"--mode", "x"}, "--mode: must be octal digits up to 777, not 'x'"},
        {{"--children", "0"}, "--children: must be a whole number from 1 to 1000, not '0'"},
        {{"--children", "1001"}, "--children: must be a whole number from 1 to 1000, not '1001'"},
        {{"--children", "6x"}, "--children: must be a whole number from 1 to 1000, not '6x'"},
        {{"--owner", "nobody-of-that-name"},
         "--owner: must be USER or USER:GROUP that this system knows, or numbers, not 'nobody-of-that-name'"},
        {{"--owner", "0:"}, "--owner: must be USER or USER:GROUP that this system knows, or numbers, not '0:'"},
        {{"--owner", "4294967295"},
         "--owner: must be USER or USER:GROUP that this system knows, or numbers, not '4294967295'"},
        {{"--mode", "600"}, "--mode and --owner are for --socket"},
        {{"--owner", "0"}, "--mode and --owner are for --socket"},
    };
    for (const auto& [words, text] : all) {
        EXPECT_EQ(text, Read(words).wrong);
    }
}

} // namespace
