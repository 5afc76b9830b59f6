#include "daemonOptions.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace zvcamera {
namespace {

std::optional<int> read(std::vector<std::string> words, DaemonOptions& options) {
    words.insert(words.begin(), "zvNetD");
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    return readOptions(static_cast<int>(words.size()), argv.data(), "zvNetD", options);
}

TEST(DaemonOptions, HaveDefaults) {
    DaemonOptions options;
    EXPECT_EQ(std::nullopt, read({}, options));
    EXPECT_EQ(std::nullopt, options.checked);
    EXPECT_EQ("", options.scenarioFile);
    EXPECT_EQ("/run/zarvo", options.runDir);
    EXPECT_EQ("/tmp/fuse_d", options.storage);
    EXPECT_EQ("/run/zarvo/zvNetD.admin", options.adminSocket("zvNetD"));
}

TEST(DaemonOptions, AreTakenInEitherForm) {
    DaemonOptions options;
    EXPECT_EQ(std::nullopt,
              read({"--scenario", "a b.json", "--run-dir=/r", "--storage", "", "--check", "-x"}, options));
    EXPECT_EQ("-x", options.checked);
    EXPECT_EQ("a b.json", options.scenarioFile);
    EXPECT_EQ("/r", options.runDir);
    EXPECT_EQ("", options.storage);
}

TEST(DaemonOptions, WrongOnesEndTheProgram) {
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"--nonsense"}, {"--scenario"}, {"more"}, {"-x"}, {"--help=1"}}) {
        DaemonOptions options;
        EXPECT_EQ(2, read(words, options)) << words[0];
    }
}

TEST(DaemonOptions, HelpIsNoFailure) {
    DaemonOptions options;
    EXPECT_EQ(0, read({"--help"}, options));
}

} // namespace
} // namespace zvcamera
