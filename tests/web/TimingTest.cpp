// SPDX-License-Identifier: Apache-2.0
// How long an answer takes. What is missing and what is refused are looked up in different ways,
// and a patient asker can measure that: the times differ by about a sixth. These tests find work
// that is done for one of the two alone, as to read a folder or a process that becomes the user.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <utility>

#include "ServiceTest.h"

using namespace vellumo::test;

namespace {

using Times = std::vector<double>;  // in milliseconds

double MedianOf(Times times) {
    const auto middle = times.begin() + static_cast<Times::difference_type>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

class Timing : public ServiceTest {
protected:
    using Ask = std::function<HttpAnswer()>;

    static void MakeLargeFolder(const std::string& folder) {
        MakeDirectory(folder);
        for (int i = 0; i < 1000; ++i) {
            Write(folder + '/' + std::to_string(i), 0644);
        }
    }

    static double Measure(const Ask& ask) {
        const auto begin = std::chrono::steady_clock::now();
        const bool isAnswered = ask().status != 0;
        const std::chrono::duration<double, std::milli> time =
            std::chrono::steady_clock::now() - begin;
        EXPECT_TRUE(isAnswered);
        return time.count();
    }

    // The medians of both, asked for in turns, so that what else the machine does slows both down.
    static std::pair<double, double> Medians(const Ask& one, const Ask& other) {
        constexpr int kRounds = 150;
        std::pair<Times, Times> times;
        for (int i = 0; i < kRounds; ++i) {
            times.first.push_back(Measure(one));
            times.second.push_back(Measure(other));
        }
        return {MedianOf(times.first), MedianOf(times.second)};
    }

    static bool AreAlike(const std::pair<double, double>& medians) {
        constexpr double kMostTimes = 1.4;
        constexpr double kNoise = 0.05;
        const auto [less, more] = std::minmax(medians.first, medians.second);
        return more <= less * kMostTimes + kNoise;
    }

    // A difference that is always there is there every time.
    static void ExpectAlike(const std::string& what, const Ask& one, const Ask& other) {
        constexpr int kTries = 5;
        EXPECT_EQ(one().status, other().status) << what;
        std::pair<double, double> medians;
        for (int i = 0; i < kTries; ++i) {
            medians = Medians(one, other);
            if (AreAlike(medians)) {
                return;
            }
        }
        ADD_FAILURE() << what << ": " << medians.first << " and " << medians.second << " ms";
    }
};

TEST_F(Timing, OfARefusedDocumentIsLikeThatOfAMissingOne) {
    const RunningService service;
    Browser ann;
    Browser bob;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    ASSERT_EQ(bob.LogIn("bob").status, 200);
    for (const char* product : {"pdf", "thumbnail"}) {
        ASSERT_EQ(Opened(ann, "docs/secret.docx", product), "ready");
    }
    const auto get = [&](const std::string& path) {
        return [&bob, path] { return bob.Get("/api/v1/" + path); };
    };
    for (const std::string route : {"pdf/", "thumb/", "original/", "status/", "place/"}) {
        ExpectAlike(route, get(route + "docs/secret.docx"), get(route + "docs/nothing.docx"));
        ExpectAlike(route + "other", get(route + "other/c.docx"), get(route + "other/d.docx"));
    }
    const auto show = [&](const std::string& path) {
        return [&bob, path] {
            return bob.Post("/api/v1/visible", R"({"paths": [")" + path + R"("]})");
        };
    };
    ExpectAlike("visible", show("docs/secret.docx"), show("docs/nothing.docx"));
}

TEST_F(Timing, OfARefusedFolderIsLikeThatOfAMissingOne) {
    MakeLargeFolder("/volume1/docs/closed");
    chmod("/volume1/docs/closed", 0700);
    const RunningService service;
    Browser bob;
    ASSERT_EQ(bob.LogIn("bob").status, 200);
    ExpectAlike(
        "list", [&] { return bob.Get("/api/v1/list/docs/closed"); },
        [&] { return bob.Get("/api/v1/list/docs/nothing"); });
}

// The measure finds what it is for: whoever may read the folder waits until it is read.
TEST_F(Timing, OfAFolderThatIsGivenIsNotLikeThatOfAMissingOne) {
    MakeLargeFolder("/volume1/docs/open");
    const RunningService service;
    Browser bob;
    ASSERT_EQ(bob.LogIn("bob").status, 200);
    EXPECT_FALSE(AreAlike(Medians([&] { return bob.Get("/api/v1/list/docs/open"); },
                                  [&] { return bob.Get("/api/v1/list/docs/nothing"); })));
}

}  // namespace
