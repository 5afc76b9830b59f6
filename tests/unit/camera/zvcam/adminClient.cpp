#include "adminClient.h"

#include <gtest/gtest.h>
#include <system_error>

namespace zvcamera {
namespace {

TEST(AdminClient, AnAbsentServerIsAnError) {
    EXPECT_THROW(AdminClient("/nonexistent/socket"), std::system_error);
    EXPECT_THROW(AdminClient("/" + std::string(200, 'n')), std::system_error);
}

} // namespace
} // namespace zvcamera
