// SPDX-License-Identifier: Apache-2.0
#include "http/Target.h"

#include <gmock/gmock.h>

namespace vellumo::web::http {
namespace {

using testing::ElementsAre;
using testing::Optional;
using testing::Pair;

TEST(TargetPath, IsSplitAndDecoded) {
    EXPECT_THAT(SplitPath("/"), Optional(ElementsAre()));
    EXPECT_THAT(SplitPath("/docs/a%20b+c.docx"), Optional(ElementsAre("docs", "a b+c.docx")));
    EXPECT_THAT(SplitPath("/docs/f/"), Optional(ElementsAre("docs", "f")));
    EXPECT_THAT(SplitPath("/docs/..."), Optional(ElementsAre("docs", "...")));
}

TEST(TargetPath, KeepsBytesThatAreNoUtf8) {
    EXPECT_THAT(SplitPath("/%ff%FEx"), Optional(ElementsAre("\xff\xfex")));
}

TEST(TargetPath, IsRefusedWhenOthersMayReadItInAnotherWay) {
    for (const char* path :
         {"", "docs", "//docs", "/docs//a", "/docs/../a", "/docs/%2e%2E/a", "/docs/.", "/docs/%2e",
          "/a%2fb", "/a%2Fb", "/a%00", "/a%", "/a%4", "/a%zz", "/a%+1", "/a%-1"}) {
        EXPECT_EQ(SplitPath(path), std::nullopt) << path;
    }
    EXPECT_EQ(SplitPath(std::string_view("/a\0b", 4)), std::nullopt);
}

TEST(TargetQuery, IsSplitAndDecoded) {
    EXPECT_THAT(SplitQuery("a=b+c&d=%26&e"),
                Optional(ElementsAre(Pair("a", "b c"), Pair("d", "&"), Pair("e", ""))));
    EXPECT_EQ(SplitQuery("a=1&a=2"), std::nullopt);
    EXPECT_EQ(SplitQuery("a=%0"), std::nullopt);
}

TEST(TargetCookie, CountsOnlyWhenItComesOnce) {
    EXPECT_EQ(CookieIn("a=1; b=2", "b"), "2");
    EXPECT_EQ(CookieIn("ab=1", "b"), "");
    EXPECT_EQ(CookieIn("b=1; b=2", "b"), "");
}

}  // namespace
}  // namespace vellumo::web::http
