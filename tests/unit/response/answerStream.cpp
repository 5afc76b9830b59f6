#include "answerStream.h"

#include "scarceMemory.h"

#include <gtest/gtest.h>
#include <string>

namespace {

const char* const nothing = nullptr;

TEST(AnswerStream, HoldsWhatIsPutIntoIt) {
    AnswerStream stream;
    EXPECT_TRUE(stream.good());
    EXPECT_EQ("", stream.text());
    stream << "header" << '\n' << 200;
    EXPECT_EQ("header\n200", stream.text());
    stream << std::string(2000, 'x');
    EXPECT_EQ("header\n200" + std::string(2000, 'x'), stream.text());
    EXPECT_FALSE(stream.lacksMemory());
}

TEST(AnswerStream, CanBeRead) {
    AnswerStream stream;
    stream << "12 ab";
    int number = 0;
    std::string word;
    stream >> number >> word;
    EXPECT_EQ(12, number);
    EXPECT_EQ("ab", word);
    EXPECT_EQ("12 ab", stream.text());
}

TEST(AnswerStream, HoldsAllOfItsTextWhereverTheNextIsPut) {
    AnswerStream stream;
    stream << "header";
    static_cast<void>(stream.get()); // the stream notices how far its text goes
    stream.seekp(0);
    EXPECT_EQ("header", stream.text());
}

TEST(AnswerStream, NullTextIsNoLackOfMemory) {
    AnswerStream stream;
    stream << "before" << nothing << "lost";
    EXPECT_TRUE(stream.bad());
    EXPECT_FALSE(stream.lacksMemory());
    EXPECT_EQ("before", stream.text());
    stream.clear();
    stream << " behind";
    EXPECT_EQ("before behind", stream.text());
}

TEST(AnswerStream, LackOfMemoryIsNotForgotten) {
    AnswerStream stream;
    {
        const zvtest::ScarceMemory scarce(600);
        stream << std::string(400, 'a') << std::string(400, 'b');
    }
    EXPECT_TRUE(stream.bad());
    EXPECT_TRUE(stream.lacksMemory());
    stream.clear();
    stream << std::string(4000, 'c');
    EXPECT_TRUE(stream.good());
    EXPECT_TRUE(stream.lacksMemory());
}

TEST(AnswerStream, TakesAnotherTextWhateverItsStateIs) {
    AnswerStream stream;
    stream << "old text" << nothing;
    stream.setText("new");
    EXPECT_TRUE(stream.good());
    EXPECT_EQ("new", stream.text());
    stream << "er";
    EXPECT_EQ("newer", stream.text());
    stream.setText("");
    EXPECT_EQ("", stream.text());
}

TEST(AnswerStream, TakesAPartOfItsOwnText) {
    AnswerStream stream;
    stream << "{\"a\":1}";
    stream.setText(stream.text().substr(0, 6));
    stream << ",";
    EXPECT_EQ("{\"a\":1,", stream.text());
}

} // namespace
