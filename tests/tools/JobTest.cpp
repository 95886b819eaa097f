// SPDX-License-Identifier: Apache-2.0
#include "convert/Job.h"

#include <gtest/gtest.h>

using vellumo::cli::Pace;
using vellumo::cli::Tally;

namespace {

Tally Of(size_t converted, size_t failed, size_t fresh = 0, size_t total = 100) {
    Tally tally;
    tally.total = total;
    tally.converted = converted;
    tally.failed = failed;
    tally.fresh = fresh;
    return tally;
}

}  // namespace

TEST(JobPace, SaysNothingOfARateBeforeTheFirstHasEnded) {
    EXPECT_EQ(Pace(Of(0, 0), Of(0, 0), 5), "0 done, 0 failed");
}

TEST(JobPace, CountsWhatHasFailedAsWorkedOn) {
    EXPECT_EQ(Pace(Of(0, 0), Of(25, 25), 50), "25 done, 25 failed, 1.0 per second, 50 s left");
    // More than a minute is told in minutes.
    EXPECT_EQ(Pace(Of(0, 0), Of(5, 5), 20), "5 done, 5 failed, 30 per minute, 3 min left");
}

TEST(JobPace, ExpectsNoTimeForWhatWasFreshFromTheBeginning) {
    EXPECT_EQ(Pace(Of(0, 0, 90), Of(5, 0, 90), 5), "95 done, 0 failed, 1.0 per second, 5 s left");
}

TEST(JobPace, TellsLongTimesInHours) {
    EXPECT_EQ(Pace(Of(0, 0, 0, 10000), Of(10, 0, 0, 10000), 100),
              "10 done, 0 failed, 6.0 per minute, 28 h left");
}
