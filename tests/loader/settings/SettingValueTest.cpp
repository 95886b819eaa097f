// SPDX-License-Identifier: Apache-2.0
#include "loader/settings/SettingValue.h"

#include <gmock/gmock.h>

using namespace std::chrono_literals;

namespace vellumo::loader {
namespace {

const SettingEntry kSize{Setting::kWorkerMemory, SettingKind::kSize, "", "", ""};
const SettingEntry kLimit{Setting::kCacheLimit, SettingKind::kSizeOrShare, "", "", ""};
const SettingEntry kHours{Setting::kNightHours, SettingKind::kHours, "", "", ""};
const SettingEntry kTime{Setting::kHousekeeping, SettingKind::kTimeOfDay, "", "", ""};
const SettingEntry kNumber{Setting::kPauseCpu, SettingKind::kNumber, "", "", "", 100};
const SettingEntry kTexts{Setting::kExclude, SettingKind::kTexts, "", "", ""};

TEST(SettingValue, SizesHaveUnitsOfPowersOf1024) {
    const std::pair<const char*, int64_t> sizes[] = {{"0", 0},
                                                     {"17", 17},
                                                     {"1K", 1024},
                                                     {"500M", 500 << 20},
                                                     {"3G", int64_t{3} << 30},
                                                     {"2T", int64_t{2} << 40}};
    for (const auto& [text, bytes] : sizes) {
        EXPECT_EQ(ValueOf(kSize, text), SettingValue(bytes)) << text;
        EXPECT_EQ(ValueOf(kLimit, text), SettingValue(SizeOrShare{bytes, 0})) << text;
    }
    EXPECT_EQ(ValueOf(kSize, Json::Value(5)), SettingValue(int64_t{5}));
}

// What is compared with a clock would overflow.
TEST(SettingValue, RefusesDurationsOfMoreThanAHundredYears) {
    const SettingEntry duration{Setting::kWorkerTime, SettingKind::kDuration, "", "", ""};
    EXPECT_EQ(ValueOf(duration, "36500d"), SettingValue(std::chrono::seconds(24h * 36500)));
    for (const char* text : {"36501d", "999999d", "999999999h"}) {
        EXPECT_FALSE(ValueOf(duration, text)) << text;
    }
}

TEST(SettingValue, RefusesWhatIsNoSize) {
    for (const char* text : {"", "G", "1GB", "1g", "-1", "-1G", " 1", "1 ", "1.5G", "1e3", "0x10",
                             "9999999999T", "99999999999999999999", "5%"}) {
        EXPECT_FALSE(ValueOf(kSize, text)) << text;
    }
    EXPECT_FALSE(ValueOf(kSize, Json::Value(-1)));
    EXPECT_FALSE(ValueOf(kSize, Json::Value(1.5)));
    EXPECT_FALSE(ValueOf(kSize, Json::Value(true)));
    EXPECT_FALSE(ValueOf(kSize, Json::Value()));
}

TEST(SettingValue, SharesAreWholePercentages) {
    EXPECT_EQ(ValueOf(kLimit, "5%"), SettingValue(SizeOrShare{0, 5}));
    EXPECT_EQ(ValueOf(kLimit, "100%"), SettingValue(SizeOrShare{0, 100}));
    for (const char* text : {"0%", "101%", "%", "-5%", "5.5%", "5%%", "5 %"}) {
        EXPECT_FALSE(ValueOf(kLimit, text)) << text;
    }
}

TEST(SettingValue, HoursMayGoPastMidnight) {
    const auto hours = std::get<Hours>(*ValueOf(kHours, "20:30-06:00"));
    EXPECT_TRUE(hours.Include(20h + 30min));
    EXPECT_TRUE(hours.Include(0h));
    EXPECT_TRUE(hours.Include(5h + 59min));
    EXPECT_FALSE(hours.Include(6h));
    EXPECT_FALSE(hours.Include(20h + 29min));
    const auto day = std::get<Hours>(*ValueOf(kHours, "08:00-18:00"));
    EXPECT_TRUE(day.Include(8h));
    EXPECT_FALSE(day.Include(18h));
    EXPECT_TRUE(std::get<Hours>(*ValueOf(kHours, "")).Include(12h));
}

TEST(SettingValue, RefusesWhatAreNoHours) {
    for (const char* text : {"20:00", "20:00-24:00", "8:00-18:00", "20:60-06:00", "20:00 - 06:00",
                             "20-06", "always"}) {
        EXPECT_FALSE(ValueOf(kHours, text)) << text;
    }
    for (const char* text : {"", "3:00", "24:00", "03:00:00", "+3:00", "03:-1"}) {
        EXPECT_FALSE(ValueOf(kTime, text)) << text;
    }
}

TEST(SettingValue, NumbersHaveARange) {
    EXPECT_EQ(ValueOf(kNumber, Json::Value(100)), SettingValue(int64_t{100}));
    EXPECT_FALSE(ValueOf(kNumber, Json::Value(101)));
    EXPECT_FALSE(ValueOf(kNumber, Json::Value(-1)));
    EXPECT_FALSE(ValueOf(kNumber, "100"));
    EXPECT_FALSE(ValueOf(kNumber, Json::Value(Json::UInt64{18446744073709551615U})));
}

TEST(SettingValue, ListsHoldTextsOnly) {
    EXPECT_EQ(ValueOf(kTexts, *JsonOf(kTexts, {"a", "b"})),
              SettingValue(std::vector<std::string>{"a", "b"}));
    EXPECT_FALSE(ValueOf(kTexts, "a"));
    EXPECT_FALSE(ValueOf(kTexts, *JsonOf(kTexts, {"a", ""})));
    Json::Value numbers(Json::arrayValue);
    numbers.append(1);
    EXPECT_FALSE(ValueOf(kTexts, numbers));
}

TEST(SettingValue, WordsOfTheCommandLineBecomeJsonOfTheSettingsKind) {
    EXPECT_EQ(JsonOf(kNumber, {"5"}), Json::Value(Json::Int64{5}));
    EXPECT_EQ(JsonOf(kSize, {"5"}), Json::Value("5"));
    EXPECT_FALSE(JsonOf(kSize, {"5", "6"}));
    EXPECT_FALSE(ValueOf(kNumber, *JsonOf(kNumber, {"five"})));
}

}  // namespace
}  // namespace vellumo::loader
