#include "quoteText.h"

#include <gtest/gtest.h>

namespace zvcamera {
namespace {

TEST(QuoteText, TextsAreQuotedWithWhatDoesNotPrint) {
    EXPECT_EQ("\"a\\\"\\x0a\\xff\\\\\"", quoteText("a\"\n\xff\\"));
}

} // namespace
} // namespace zvcamera
