// SPDX-License-Identifier: Apache-2.0
#include "loader/Problem.h"

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace vellumo::loader {
namespace {

TEST(Reasons, AreAllInTheTable) {
    constexpr auto kLast = Reason::kQueueUnreadable;
    EXPECT_EQ(Reasons().size(), static_cast<size_t>(kLast) + 1);
    std::set<Reason> reasons;
    for (const ReasonEntry& entry : Reasons()) {
        reasons.insert(entry.reason);
    }
    EXPECT_EQ(reasons.size(), Reasons().size());
}

TEST(Reasons, HaveNamesThatTellThemApart) {
    std::set<std::string> names;
    for (const ReasonEntry& entry : Reasons()) {
        EXPECT_EQ(NameOf(entry.reason), entry.name);
        EXPECT_THAT(entry.name, testing::MatchesRegex("[a-z]+(-[a-z]+)*"));
        EXPECT_TRUE(names.insert(entry.name).second) << entry.name;
    }
}

}  // namespace
}  // namespace vellumo::loader
