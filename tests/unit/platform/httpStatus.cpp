// The reason phrases, in the answers that carry them.
#include "errorAnswer.h"

#include <climits>
#include <gtest/gtest.h>

using namespace zvtest;

TEST(HttpStatus, ReasonsOfTheUsualStatuses) {
    EXPECT_EQ("Status: 200 OK", statusLine(200));
    EXPECT_EQ("Status: 202 Accepted", statusLine(202));
    EXPECT_EQ("Status: 204 No Content", statusLine(204));
    EXPECT_EQ("Status: 302 Found", statusLine(302));
    EXPECT_EQ("Status: 304 Not Modified", statusLine(304));
    EXPECT_EQ("Status: 400 Bad Request", statusLine(400));
    EXPECT_EQ("Status: 401 Unauthorized", statusLine(401));
    EXPECT_EQ("Status: 403 Forbidden", statusLine(403));
    EXPECT_EQ("Status: 404 Not Found", statusLine(404));
    EXPECT_EQ("Status: 405 Method Not Allowed", statusLine(405));
    EXPECT_EQ("Status: 408 Request Timeout", statusLine(408));
    EXPECT_EQ("Status: 409 Conflict", statusLine(409));
    EXPECT_EQ("Status: 429 Too Many Requests", statusLine(429));
    EXPECT_EQ("Status: 500 Internal Server Error", statusLine(500));
    EXPECT_EQ("Status: 501 Not Implemented", statusLine(501));
    EXPECT_EQ("Status: 503 Service Unavailable", statusLine(503));
    EXPECT_EQ("Status: 504 Gateway Timeout", statusLine(504));
}

TEST(HttpStatus, UnassignedStatusesBearTheirClass) {
    EXPECT_EQ("Status: 199 Informational", statusLine(199));
    EXPECT_EQ("Status: 299 Success", statusLine(299));
    EXPECT_EQ("Status: 399 Redirection", statusLine(399));
    EXPECT_EQ("Status: 499 Client Error", statusLine(499));
    EXPECT_EQ("Status: 599 Server Error", statusLine(599));
}

TEST(HttpStatus, WhatIsNoStatusIsAServerError) {
    for (const int status : {INT_MIN, -200, 0, 99, 600, 1000, INT_MAX}) {
        EXPECT_EQ("Status: 500 Internal Server Error", statusLine(status)) << status;
    }
}
