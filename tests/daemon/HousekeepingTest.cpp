// SPDX-License-Identifier: Apache-2.0
#include "night/Housekeeping.h"

#include <ctime>

#include "Device.h"
#include "vellumo/Constants.h"

namespace vellumo::daemon {
namespace {

using namespace std::chrono_literals;
using namespace vellumo::test;

// A moment of one day, local time.
std::chrono::system_clock::time_point At(int day, int hour, int minute = 0) {
    std::tm local{};
    local.tm_year = 126;
    local.tm_mon = 4;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_isdst = -1;
    return std::chrono::system_clock::from_time_t(std::mktime(&local));
}

TEST(HousekeepingTest, IsDueOnceADay) {
    int64_t lastDay = -1;
    EXPECT_FALSE(IsDue(3h, At(10, 12), lastDay)) << "the daemon has just started";
    EXPECT_FALSE(IsDue(3h, At(11, 2, 59), lastDay));
    EXPECT_TRUE(IsDue(3h, At(11, 3), lastDay));
    EXPECT_FALSE(IsDue(3h, At(11, 3, 1), lastDay));
    EXPECT_FALSE(IsDue(3h, At(12, 2), lastDay));
    EXPECT_TRUE(IsDue(3h, At(12, 3, 30), lastDay));
}

TEST(HousekeepingTest, IsNotDueTwiceWhenTheClockIsSetBack) {
    int64_t lastDay = -1;
    IsDue(3h, At(10, 12), lastDay);
    ASSERT_TRUE(IsDue(3h, At(11, 3), lastDay));
    EXPECT_FALSE(IsDue(3h, At(10, 1), lastDay));
    EXPECT_FALSE(IsDue(3h, At(11, 4), lastDay));
}

TEST(HousekeepingTest, IsMadeUpForWhenTheClockJumpsAhead) {
    int64_t lastDay = -1;
    IsDue(3h, At(10, 12), lastDay);
    EXPECT_TRUE(IsDue(3h, At(20, 1), lastDay));
    EXPECT_FALSE(IsDue(3h, At(20, 2), lastDay));
}

class HousekeepingOnDevice : public DeviceTest {};

TEST_F(HousekeepingOnDevice, RemovesTheProductsOfDocumentsThatAreGone) {
    unlink(NAVO::VELLUMO::SZF_CACHE_DB_PATH);
    unlink("/var/packages/Vellumo/etc/failures.db");
    WriteFile("/volume1/docs/a.docx", "some document");
    MakeEADirectory("/volume1/docs/a.docx");
    const std::string product = StreamOf("/volume1/docs/a.docx", NAVO::VELLUMO::SZK_THUMB_TYPE);
    WriteFile(product, "some thumbnail");
    unlink("/volume1/docs/a.docx");

    Housekeeping housekeeping;
    housekeeping.Step({3h, 0s}, At(10, 12));
    housekeeping.Step({3h, 0s}, At(11, 3));
    ASSERT_TRUE(housekeeping.IsRunning());
    EXPECT_TRUE(ComesTrue([&] {
        housekeeping.Step({3h, 0s}, At(11, 3));
        return !housekeeping.IsRunning();
    }));
    EXPECT_THAT(housekeeping.LastResult(), testing::HasSubstr("1 leftover removed"));
    EXPECT_FALSE(Exists(product));
}

TEST_F(HousekeepingOnDevice, SparesTheProductsOfADocumentThatComesBack) {
    WriteFile("/volume1/docs/a.docx", "some document");
    MakeEADirectory("/volume1/docs/a.docx");
    const std::string product = StreamOf("/volume1/docs/a.docx", NAVO::VELLUMO::SZK_THUMB_TYPE);
    WriteFile(product, "some thumbnail");
    rename("/volume1/docs/a.docx", "/volume1/docs/b.docx");

    Housekeeping housekeeping;
    housekeeping.Step({3h, 5s}, At(10, 12));
    housekeeping.Step({3h, 5s}, At(11, 3));
    ASSERT_TRUE(housekeeping.IsRunning());
    rename("/volume1/docs/b.docx", "/volume1/docs/a.docx");
    EXPECT_TRUE(ComesTrue([&] {
        housekeeping.Step({3h, 5s}, At(11, 3));
        return !housekeeping.IsRunning();
    }));
    EXPECT_TRUE(Exists(product));
}

}  // namespace
}  // namespace vellumo::daemon
