// SPDX-License-Identifier: Apache-2.0
#include "status/Metrics.h"

#include <gmock/gmock.h>

#include "status/Rate.h"

namespace vellumo::daemon {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using namespace std::chrono_literals;

TEST(MetricsTest, CountConversionsByProductToolAndOutcome) {
    Metrics metrics;
    metrics.Note({"pdf", "soffice", "done", 3, 1});
    metrics.Note({"pdf", "soffice", "done", 2, 0});
    metrics.Note({"pdf", "soffice", "time-limit", 120, 0});
    const std::string text = metrics.Text({});
    EXPECT_THAT(text, HasSubstr("vellumo_conversions_total{product=\"pdf\",tool=\"soffice\","
                                "outcome=\"done\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("outcome=\"time-limit\"} 1\n"));
}

TEST(MetricsTest, TellHowLongConversionsTookWithoutTheirWaits) {
    Metrics metrics;
    metrics.Note({"pdf", "soffice", "done", 3, 1});
    metrics.Note({"pdf", "soffice", "done", 700, 0});
    const std::string text = metrics.Text({});
    EXPECT_THAT(text, HasSubstr("vellumo_conversion_seconds_bucket{product=\"pdf\",le=\"1\"} 0\n"));
    EXPECT_THAT(text,
                HasSubstr("vellumo_conversion_seconds_bucket{product=\"pdf\",le=\"2.5\"} 1\n"));
    EXPECT_THAT(text,
                HasSubstr("vellumo_conversion_seconds_bucket{product=\"pdf\",le=\"+Inf\"} 2\n"));
    EXPECT_THAT(text, HasSubstr("vellumo_conversion_seconds_sum{product=\"pdf\"} 702\n"));
    EXPECT_THAT(text, HasSubstr("vellumo_wait_seconds_sum{product=\"pdf\"} 1\n"));
}

TEST(MetricsTest, AreOpenMetrics) {
    const std::string text = Metrics().Text(
        {{"vellumo_a", "One.", "x=\"1\"", 1.5}, {"vellumo_a", "One.", "x=\"2\"", 1e9}});
    EXPECT_THAT(text, HasSubstr("# TYPE vellumo_a gauge\n# HELP vellumo_a One.\n"
                                "vellumo_a{x=\"1\"} 1.5\nvellumo_a{x=\"2\"} 1000000000\n"));
    EXPECT_THAT(text, EndsWith("# EOF\n"));
}

TEST(RateTest, IsThatOfTheLastQuarterOfAnHour) {
    Rate rate;
    const Rate::Clock::time_point begin{};
    for (int i = 0; i < 60; ++i) {
        rate.Note(begin + i * 10s);
    }
    EXPECT_NEAR(rate.PerMinute(begin + 10min), 6, 0.1);
    EXPECT_EQ(rate.TimeFor(60, begin + 10min), 600s);
    EXPECT_EQ(rate.PerMinute(begin + 30min), 0);
    EXPECT_EQ(rate.TimeFor(60, begin + 30min), std::nullopt);
}

}  // namespace
}  // namespace vellumo::daemon
