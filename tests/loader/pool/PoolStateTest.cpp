// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/PoolState.h"

#include <gtest/gtest.h>

#include "StateFile.h"

using namespace vellumo::test;
using vellumo::loader::PoolState;
using Pool = NAVO::VELLUMO::ContainerPoolManager;

namespace {

std::string Obstacle(const std::string& document, Pool::Priority priority) {
    return PoolState::Of(Parsed(document)).Obstacle(priority);
}

constexpr const char* kPool = R"({
    "navo1": {"using": 0}, "navo2": {"using": 1}, "navo3": {"using": 1},
    "waitingQueue": [{"a": true}, {"b": true}, {"c": true, "d": true}]})";

}  // namespace

TEST(PoolState, CountsEveryContainerForWholeDocuments) {
    EXPECT_EQ(Obstacle(kPool, Pool::PRIORITY_HIGH), "2 of 3 containers busy");
}

TEST(PoolState, LeavesTheFirstContainerOutForPageRanges) {
    EXPECT_EQ(Obstacle(kPool, Pool::PRIORITY_LOW),
              "2 of 2 containers busy, 3 more urgent jobs wait");
}

TEST(PoolState, CountsOnlyJobsThatAreMoreUrgent) {
    EXPECT_EQ(Obstacle(R"({"navo1":{},"waitingQueue":[{"a":true},{"b":true},{"c":true}]})",
                       Pool::PRIORITY_NORMAL),
              "0 of 1 container busy, 1 more urgent job waits");
}

TEST(PoolState, SaysThatNoContainerCanTakeAJob) {
    EXPECT_EQ(Obstacle("{}", Pool::PRIORITY_HIGH), "no container can take it");
    EXPECT_EQ(Obstacle(R"({"navo1":{}})", Pool::PRIORITY_LOW), "no container can take it");
}
