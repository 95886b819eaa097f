// SPDX-License-Identifier: Apache-2.0
#include "http/Ranges.h"

#include <gmock/gmock.h>

namespace vellumo::web::http {
namespace {

using Kind = Part::Kind;
constexpr const char* kTag = "\"t\"";

// "200", "206 FIRST+LENGTH", "304" or "416" for a file of 100 bytes.
std::string Asked(std::vector<std::pair<std::string, std::string>> fields) {
    Request request;
    request.fields = std::move(fields);
    const Part part = PartOf(request, 100, kTag);
    switch (part.kind) {
        case Kind::kRange:
            return "206 " + std::to_string(part.first) + "+" + std::to_string(part.length);
        case Kind::kUnchanged:
            return "304";
        case Kind::kUnsatisfiable:
            return "416";
        default:
            return part.length == 100 ? "200" : "200 of another length";
    }
}

TEST(Ranges, ServeEachFormOfOneRange) {
    EXPECT_EQ(Asked({{"range", "bytes=0-9"}}), "206 0+10");
    EXPECT_EQ(Asked({{"range", "bytes=90-"}}), "206 90+10");
    EXPECT_EQ(Asked({{"range", "bytes=90-999"}}), "206 90+10");
    EXPECT_EQ(Asked({{"range", "bytes=-10"}}), "206 90+10");
    EXPECT_EQ(Asked({{"range", "bytes=-999"}}), "206 0+100");
}

TEST(Ranges, BeyondTheEndAreUnsatisfiable) {
    EXPECT_EQ(Asked({{"range", "bytes=100-"}}), "416");
    EXPECT_EQ(Asked({{"range", "bytes=-0"}}), "416");
}

TEST(Ranges, ThatAreOddOrSeveralMeanTheWholeFile) {
    for (const char* range :
         {"bytes=0-1,3-4", "bytes=9-0", "bytes=a-b", "bytes=-", "bytes=", "lines=0-1", "bytes=0",
          "bytes=--1", "bytes=+1-2", "bytes=99999999999999999999-"}) {
        EXPECT_EQ(Asked({{"range", range}}), "200") << range;
    }
    EXPECT_EQ(Asked({{"range", "bytes=0-1"}, {"range", "bytes=0-1"}}), "200");
}

TEST(Ranges, AreServedOnlyOfTheVersionThatIfRangeNames) {
    EXPECT_EQ(Asked({{"range", "bytes=0-9"}, {"if-range", "\"t\""}}), "206 0+10");
    EXPECT_EQ(Asked({{"range", "bytes=0-9"}, {"if-range", "W/\"t\""}}), "200");
    EXPECT_EQ(Asked({{"range", "bytes=0-9"}, {"if-range", "\"u\""}}), "200");
    EXPECT_EQ(Asked({{"range", "bytes=0-9"}, {"if-range", "Sat, 01 Jan 2000 00:00:00 GMT"}}),
              "200");
}

TEST(Ranges, OfAVersionThatTheClientHasAreNotSentAgain) {
    EXPECT_EQ(Asked({{"if-none-match", "\"t\""}}), "304");
    EXPECT_EQ(Asked({{"if-none-match", "\"u\", W/\"t\""}}), "304");
    EXPECT_EQ(Asked({{"if-none-match", "\"u\""}}), "200");
}

}  // namespace
}  // namespace vellumo::web::http
