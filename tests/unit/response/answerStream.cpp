#include "answerStream.h"

#include "scarceMemory.h"

#include <gtest/gtest.h>
#include <new>
#include <string>

namespace {

const char* const nothing = nullptr;

TEST(AnswerStream, HoldsWhatIsPutIntoIt) {
    watchMemory();
    AnswerStream stream;
    EXPECT_TRUE(stream.good());
    EXPECT_EQ("", textOf(stream));
    stream << "header" << '\n' << 200;
    EXPECT_EQ("header\n200", textOf(stream));
    stream << std::string(2000, 'x');
    EXPECT_EQ("header\n200" + std::string(2000, 'x'), textOf(stream));
    EXPECT_FALSE(lacksMemory(stream));
}

TEST(AnswerStream, CanBeRead) {
    watchMemory();
    AnswerStream stream;
    stream << "12 ab";
    int number = 0;
    std::string word;
    stream >> number >> word;
    EXPECT_EQ(12, number);
    EXPECT_EQ("ab", word);
    EXPECT_EQ("12 ab", textOf(stream));
}

TEST(AnswerStream, HoldsAllOfItsTextWhereverTheNextIsPut) {
    watchMemory();
    AnswerStream stream;
    stream << "header";
    static_cast<void>(stream.get()); // the stream notices how far its text goes
    stream.seekp(0);
    EXPECT_EQ("header", textOf(stream));
}

TEST(AnswerStream, NullTextIsNoLackOfMemory) {
    watchMemory();
    AnswerStream stream;
    stream << "before" << nothing << "lost";
    EXPECT_TRUE(stream.bad());
    EXPECT_FALSE(lacksMemory(stream));
    EXPECT_EQ("before", textOf(stream));
    goOn(stream);
    stream << " behind";
    EXPECT_EQ("before behind", textOf(stream));
}

TEST(AnswerStream, LackOfMemoryIsNotForgotten) {
    watchMemory();
    AnswerStream stream;
    {
        const zvtest::ScarceMemory scarce(600);
        stream << std::string(400, 'a') << std::string(400, 'b');
    }
    EXPECT_TRUE(stream.bad());
    EXPECT_TRUE(lacksMemory(stream));
    goOn(stream);
    stream << std::string(4000, 'c');
    EXPECT_TRUE(stream.good());
    EXPECT_TRUE(lacksMemory(stream));
}

TEST(AnswerStream, TakesAnotherTextWhateverItsStateIs) {
    watchMemory();
    AnswerStream stream;
    stream << "old text" << nothing;
    replaceText(stream, "new");
    EXPECT_TRUE(stream.good());
    EXPECT_EQ("new", textOf(stream));
    stream << "er";
    EXPECT_EQ("newer", textOf(stream));
    replaceText(stream, "");
    EXPECT_EQ("", textOf(stream));
}

TEST(AnswerStream, TakesAPartOfItsOwnText) {
    watchMemory();
    AnswerStream stream;
    stream << "{\"a\":1}";
    replaceText(stream, textOf(stream).substr(0, 6));
    stream << ",";
    EXPECT_EQ("{\"a\":1,", textOf(stream));
}

// A closed library may have set a handler of its own, which makes room or gives up.
TEST(AnswerStream, TheProgramsOwnHandlerForLackOfMemoryIsAskedToo) {
    static int asked = 0;
    const std::new_handler before = std::set_new_handler([] {
        ++asked;
        throw std::bad_alloc();
    });
    watchMemory();
    watchMemory(); // again: it must not take itself for the program's
    AnswerStream stream;
    {
        const zvtest::ScarceMemory scarce(600);
        stream << std::string(400, 'a') << std::string(400, 'b');
    }
    EXPECT_TRUE(lacksMemory(stream));
    EXPECT_EQ(1, asked);
    std::set_new_handler(before);
    watchMemory();
    EXPECT_FALSE(stream.good());
}

} // namespace
