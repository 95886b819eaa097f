// SPDX-License-Identifier: Apache-2.0
#include "http/Response.h"

#include <gmock/gmock.h>

namespace vellumo::web::http {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(Response, HasTheSecurityHeaders) {
    const std::string bytes = BytesOf({.status = 200, .length = 5, .type = "text/plain"});
    EXPECT_THAT(bytes, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(bytes, HasSubstr("\r\nContent-Security-Policy: default-src 'none'; "));
    EXPECT_THAT(bytes, HasSubstr("\r\nX-Content-Type-Options: nosniff\r\n"));
    EXPECT_THAT(bytes, HasSubstr("\r\nReferrer-Policy: no-referrer\r\n"));
    EXPECT_THAT(bytes, HasSubstr("\r\nContent-Length: 5\r\n"));
}

TEST(Response, LeavesOutAFieldThatWouldBeginAnother) {
    const std::string bytes = BytesOf({.fields = {{"ETag", "a\r\nSet-Cookie: b"}}});
    EXPECT_THAT(bytes, Not(HasSubstr("Set-Cookie")));
}

TEST(Response, HasNoLengthWhenItHasNoContent) {
    EXPECT_THAT(BytesOf({.status = 304}), Not(HasSubstr("Content-Length")));
}

TEST(Response, EncodesTheNameOfAFileToSave) {
    EXPECT_EQ(AttachmentNamed("a \"b\"\n\xc3\xa4.docx"),
              "attachment; filename*=UTF-8''a%20%22b%22%0A%C3%A4.docx");
}

}  // namespace
}  // namespace vellumo::web::http
