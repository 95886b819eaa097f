// SPDX-License-Identifier: Apache-2.0
#include "smblist.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace navo::test {
namespace {

using NAVO::platform::ListEntries;
using NAVO::platform::MatchesPattern;
using NAVO::platform::VetoedComponent;
using Entries = std::vector<std::string>;

TEST(SmbListTest, IsSplitAtBlanksCommasAndSemicolons) {
    EXPECT_EQ(ListEntries("ann,bob; carl\tdora"), (Entries{"ann", "bob", "carl", "dora"}));
    EXPECT_EQ(ListEntries(" , ;"), Entries());
    EXPECT_EQ(ListEntries(""), Entries());
}

TEST(SmbListTest, QuotesKeepBlanksInAName) {
    EXPECT_EQ(ListEntries("\"domain users\", @\"CORP\\night shift\" ann"),
              (Entries{"domain users", "@CORP\\night shift", "ann"}));
    EXPECT_EQ(ListEntries("\"open end"), Entries{"open end"});
    EXPECT_EQ(ListEntries("\"\" ann"), Entries{"ann"});
}

TEST(SmbPatternTest, MatchesTheWholeText) {
    EXPECT_TRUE(MatchesPattern("a.tmp", "a.tmp"));
    EXPECT_FALSE(MatchesPattern("a.tmp", "a.tmp2"));
    EXPECT_FALSE(MatchesPattern("a.tmp2", "a.tmp"));
    EXPECT_FALSE(MatchesPattern("", "a"));
    EXPECT_TRUE(MatchesPattern("", ""));
}

TEST(SmbPatternTest, StarStandsForAnyCharacters) {
    for (const char* text : {"Security", "xSecurity", "Security.docx", "a Security b"}) {
        EXPECT_TRUE(MatchesPattern("*Security*", text)) << text;
    }
    EXPECT_FALSE(MatchesPattern("*Security*", "Secure"));
    EXPECT_TRUE(MatchesPattern("*", ""));
    EXPECT_TRUE(MatchesPattern("a*b*c", "aXbYbc"));
    EXPECT_FALSE(MatchesPattern("a*b*c", "aXbYb"));
}

TEST(SmbPatternTest, QuestionMarkStandsForOneCharacter) {
    EXPECT_TRUE(MatchesPattern("a?c", "abc"));
    EXPECT_TRUE(MatchesPattern("a?c",
                               "a\xC3\xBC"
                               "c"));
    EXPECT_FALSE(MatchesPattern("a?c", "ac"));
    EXPECT_FALSE(MatchesPattern("a?c", "abbc"));
    EXPECT_TRUE(MatchesPattern("?", "\xff"));
}

TEST(SmbPatternTest, TakesNoTimeForAPatternOfManyStars) {
    std::string stars;
    for (int count = 0; count < 100; ++count) {
        stars += "*a";
    }
    EXPECT_FALSE(MatchesPattern(stars + "b", std::string(255, 'a')));
}

TEST(SmbVetoTest, HidesEachComponentThatAPatternMatches) {
    constexpr const char* kPatterns = "/*.tmp/Network Trash Folder/*root*/";
    EXPECT_EQ(VetoedComponent(kPatterns, "a.tmp", false), "a.tmp");
    EXPECT_EQ(VetoedComponent(kPatterns, "Network Trash Folder/a.docx", false),
              "Network Trash Folder");
    EXPECT_EQ(VetoedComponent(kPatterns, "x/y/chroots/a.docx", false), "chroots");
    EXPECT_EQ(VetoedComponent(kPatterns, "x/y/a.docx", false), "");
    EXPECT_EQ(VetoedComponent("", "a.docx", false), "");
    EXPECT_EQ(VetoedComponent("///", "a.docx", false), "");
    EXPECT_EQ(VetoedComponent(kPatterns, "", false), "");
}

TEST(SmbVetoTest, AsksForTheCaseOfLettersOnlyWhenTheShareDoes) {
    EXPECT_EQ(VetoedComponent("/*.TMP/", "a.tmp", false), "a.tmp");
    EXPECT_EQ(VetoedComponent("/*.TMP/", "a.tmp", true), "");
    EXPECT_EQ(VetoedComponent("/*.TMP/", "a.TMP", true), "a.TMP");
    EXPECT_EQ(VetoedComponent("/\xC3\x9C*/",
                              "\xC3\xBC"
                              "b",
                              false),
              "\xC3\xBC"
              "b");
}

}  // namespace
}  // namespace navo::test
