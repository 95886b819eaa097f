// SPDX-License-Identifier: Apache-2.0
#include "http/Request.h"

#include <gmock/gmock.h>

namespace vellumo::web::http {
namespace {

using State = Parsed::State;

const std::string kGet = "GET /a?b=c HTTP/1.1\r\nHost: h\r\n\r\n";

// The status with which `bytes` are refused; 0 when they are a request or its beginning.
int Refused(const std::string& bytes) {
    const Parsed parsed = Parse(bytes);
    EXPECT_EQ(parsed.state == State::kRefused, parsed.status != 0);
    return parsed.status;
}

TEST(Request, IsReadWithItsPathQueryAndFields) {
    const Parsed parsed = Parse(kGet);
    ASSERT_EQ(parsed.state, State::kComplete);
    EXPECT_EQ(parsed.consumed, kGet.size());
    EXPECT_EQ(parsed.request.method, Method::kGet);
    EXPECT_EQ(parsed.request.path, "/a");
    EXPECT_EQ(parsed.request.query, "b=c");
    EXPECT_EQ(parsed.request.Field("host"), "h");
    EXPECT_TRUE(parsed.request.keepsConnection);
}

TEST(Request, IsIncompleteUpToItsLastByte) {
    const std::string post = "POST /a HTTP/1.1\r\nHost: h\r\nContent-Length: 3\r\n\r\nabc";
    for (const std::string& whole : {kGet, post}) {
        for (size_t length = 0; length < whole.size(); ++length) {
            EXPECT_EQ(Parse(whole.substr(0, length)).state, State::kIncomplete) << length;
        }
        EXPECT_EQ(Parse(whole).state, State::kComplete);
    }
    EXPECT_EQ(Parse(post).request.body, "abc");
}

TEST(Request, EndsWhereItsLengthSays) {
    const Parsed parsed = Parse(kGet + "GET /next");
    EXPECT_EQ(parsed.state, State::kComplete);
    EXPECT_EQ(parsed.consumed, kGet.size());
}

TEST(Request, EndsTheConnectionWhenTheClientSaysSoOrIsOld) {
    EXPECT_FALSE(
        Parse("GET / HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n").request.keepsConnection);
    const Parsed old = Parse("GET / HTTP/1.0\r\nHost: h\r\nConnection: keep-alive\r\n\r\n");
    EXPECT_EQ(old.state, State::kComplete);
    EXPECT_FALSE(old.request.keepsConnection);
}

struct Case {
    const char* what;
    const char* bytes;
    int status;
};

void PrintTo(const Case& request, std::ostream* out) {
    *out << request.what;
}

// What is known to be read in different ways by programs that follow each other.
class Smuggling : public testing::TestWithParam<Case> {};

TEST_P(Smuggling, IsRefused) {
    EXPECT_EQ(Refused(GetParam().bytes), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Smuggling,
    testing::Values(
        Case{"length and encoding",
             "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 4\r\nTransfer-Encoding: "
             "chunked\r\n\r\n0\r\n\r\n",
             400},
        Case{"encoding alone",
             "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        Case{"odd encoding", "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: xchunked\r\n\r\n",
             400},
        Case{"encoding in HTTP/1.0",
             "POST / HTTP/1.0\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
        Case{"blank before the colon",
             "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding : chunked\r\n\r\n", 400},
        Case{"two lengths",
             "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab", 400},
        Case{"the same length twice",
             "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\nContent-Length: 1\r\n\r\na", 400},
        Case{"list of lengths", "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 1, 1\r\n\r\na", 400},
        Case{"signed length", "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: +1\r\n\r\na", 400},
        Case{"hexadecimal length", "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 0x1\r\n\r\na",
             400},
        Case{"LF alone", "GET / HTTP/1.1\nHost: h\n\n", 400},
        Case{"one LF alone", "GET / HTTP/1.1\r\nHost: h\nX: y\r\n\r\n", 400},
        Case{"CR alone", "GET / HTTP/1.1\r\nHost: h\rX: y\r\n\r\n", 400},
        Case{"continued line", "GET / HTTP/1.1\r\nHost: h\r\nX: y\r\n z\r\n\r\n", 400},
        Case{"empty line first", "\r\nGET / HTTP/1.1\r\nHost: h\r\n\r\n", 400},
        Case{"no host", "GET / HTTP/1.1\r\n\r\n", 400},
        Case{"no host in HTTP/1.0", "GET / HTTP/1.0\r\n\r\n", 400},
        Case{"two hosts", "GET / HTTP/1.1\r\nHost: h\r\nHost: i\r\n\r\n", 400},
        Case{"empty host", "GET / HTTP/1.1\r\nHost:\r\n\r\n", 400},
        Case{"HTTP/0.9", "GET /\r\n\r\n", 400},
        Case{"HTTP/1.2", "GET / HTTP/1.2\r\nHost: h\r\n\r\n", 505},
        Case{"HTTP/2", "PRI * HTTP/2.0\r\n\r\n", 505},
        Case{"GET with content", "GET / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\n\r\na", 400},
        Case{"absolute target", "GET http://h/ HTTP/1.1\r\nHost: h\r\n\r\n", 400},
        Case{"target '*'", "GET * HTTP/1.1\r\nHost: h\r\n\r\n", 400},
        Case{"expectation",
             "POST / HTTP/1.1\r\nHost: h\r\nExpect: 100-continue\r\nContent-Length: 1\r\n\r\n",
             417},
        Case{"method OPTIONS", "OPTIONS / HTTP/1.1\r\nHost: h\r\n\r\n", 405},
        Case{"method CONNECT", "CONNECT h:80 HTTP/1.1\r\nHost: h\r\n\r\n", 405},
        Case{"no name of a field", "GET / HTTP/1.1\r\nHost: h\r\n: y\r\n\r\n", 400},
        Case{"too long content", "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 65537\r\n\r\n",
             413}));

TEST(Request, IsRefusedWithANulInItsHead) {
    using namespace std::string_literals;
    EXPECT_EQ(Refused("GET /a\0b HTTP/1.1\r\nHost: h\r\n\r\n"s), 400);
    EXPECT_EQ(Refused("GET / HTTP/1.1\r\nHost: h\r\nX: \0\r\n\r\n"s), 400);
}

TEST(Request, IsRefusedBeyondItsLimits) {
    const std::string host = " HTTP/1.1\r\nHost: h\r\n";
    EXPECT_EQ(Refused("GET /" + std::string(kMostTarget - 1, 'a') + host + "\r\n"), 0);
    EXPECT_EQ(Refused("GET /" + std::string(kMostTarget, 'a') + host + "\r\n"), 414);
    EXPECT_EQ(Refused("GET /" + std::string(kMostHead, 'a')), 414);
    EXPECT_EQ(Refused("GET /" + host + "X: " + std::string(kMostHead, 'a')), 431);
    const std::string body(kMostBody, 'b');
    EXPECT_EQ(Parse("POST /" + host + "Content-Length: 65536\r\n\r\n" + body).request.body, body);
}

}  // namespace
}  // namespace vellumo::web::http
