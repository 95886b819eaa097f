// SPDX-License-Identifier: Apache-2.0
// What the service tells about its requests: a line of the access log, and counters.
#include "front/AccessLog.h"

#include <gmock/gmock.h>

#include "front/Statistics.h"
#include "message/SessionMark.h"

namespace vellumo::web::front {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kToken(64, 'a');

http::Request RequestFor(const std::string& path) {
    http::Request request;
    request.path = path;
    request.query = "cursor=secret";
    request.fields = {{"cookie", "vellumo=" + kToken}};
    return request;
}

std::string LineOf(const http::Request& request) {
    return LineFor({request, "192.0.2.1", 200, 1234, 0.0254}, "vellumo", 1700000000);
}

TEST(AccessLog, HasOneLineForEachRequest) {
    EXPECT_EQ(LineOf(RequestFor("/api/v1/list/docs")),
              "2023-11-14T22:13:20Z 192.0.2.1 " + message::SessionMark(kToken) +
                  " GET /api/v1/list/docs 200 1234 0.025\n");
}

TEST(AccessLog, HasNoTokenAndNoQuery) {
    const std::string line = LineOf(RequestFor("/s/AbCdEfGhIjKlMnOpQrStUv/api/list/x"));
    EXPECT_THAT(line, HasSubstr(" GET /s/***/api/list/x 200 "));
    EXPECT_THAT(line, Not(HasSubstr(kToken)));
    EXPECT_THAT(line, Not(HasSubstr("secret")));
    EXPECT_THAT(LineOf(RequestFor("/s/AbCdEfGhIjKlMnOpQrStUv")), HasSubstr(" GET /s/*** 200 "));
}

TEST(AccessLog, KeepsItsFormWhateverAClientSends) {
    http::Request request = RequestFor("/a b\nc\x01\xff");
    request.fields.clear();
    EXPECT_THAT(LineFor({request, "", 400, 0, 0}, "vellumo", 0),
                HasSubstr(" - - GET /a?b?c?? 400 0 0.000\n"));
    EXPECT_LE(LineOf(RequestFor('/' + std::string(8000, 'x'))).size(), 4096U);
    EXPECT_THAT(LineOf(RequestFor("")), HasSubstr(" GET - 200 "));
}

TEST(WebStatistics, CountRequestsByRouteAndStatus) {
    Statistics statistics;
    const http::Request list = RequestFor("/api/v1/list/docs/secret");
    statistics.Note({list, "", 200, 10, 0.004});
    statistics.Note({list, "", 404, 5, 0.004});
    const http::Request login = RequestFor("/api/v1/login");
    statistics.Note({login, "", 401, 0, 2});
    const http::Request invented = RequestFor("/api/v1/invented");
    statistics.Note({invented, "", 404, 0, 0});
    const http::Request link = RequestFor("/s/AbCdEfGhIjKlMnOpQrStUv/api/pdf/x");
    statistics.Note({link, "", 200, 0, 0});
    Deaths deaths;
    deaths.count.at(1) = 3;
    const std::string text = statistics.Text({7, 2, 1, 0}, &deaths);
    for (const char* sample :
         {"vellumo_web_requests_total{route=\"list\",status=\"200\"} 1\n",
          "vellumo_web_requests_total{route=\"list\",status=\"404\"} 1\n",
          "vellumo_web_requests_total{route=\"link-pdf\",status=\"200\"} 1\n",
          "vellumo_web_requests_total{route=\"other\",status=\"404\"} 1\n",
          "vellumo_web_request_seconds_bucket{route=\"list\",le=\"0.005\"} 2\n",
          "vellumo_web_sent_bytes_total 15\n", "vellumo_web_logins_refused_total 1\n",
          "vellumo_web_connections 7\n", "vellumo_web_jobs{state=\"waiting\"} 2\n",
          "vellumo_web_jobs{state=\"running\"} 1\n",
          "vellumo_web_deaths_total{role=\"worker\"} 3\n"}) {
        EXPECT_THAT(text, HasSubstr(sample));
    }
    EXPECT_THAT(text, Not(HasSubstr("invented")));
    EXPECT_THAT(text, Not(HasSubstr("AbCdEf")));
    EXPECT_THAT(text, testing::EndsWith("# EOF\n"));
}

}  // namespace
}  // namespace vellumo::web::front
