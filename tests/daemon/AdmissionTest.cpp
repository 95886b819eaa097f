// SPDX-License-Identifier: Apache-2.0
#include "jobs/Admission.h"

#include <gtest/gtest.h>

namespace vellumo::daemon {
namespace {

// A pool of four slots and an idle daemon.
Situation Idle() {
    Situation situation;
    situation.slots = 4;
    return situation;
}

bool Admits(Lane lane, const Situation& situation) {
    return ObstacleFor(lane, situation).empty();
}

TEST(AdmissionTest, AdmitsEveryLaneWhenNothingIsInTheWay) {
    for (const Lane lane : kLanes) {
        EXPECT_TRUE(Admits(lane, Idle())) << NameOf(lane);
    }
}

TEST(AdmissionTest, LeavesOneSlotForPeople) {
    Situation situation = Idle();
    situation.running = 2;
    EXPECT_TRUE(Admits(Lane::kFound, situation));
    situation.running = 3;
    EXPECT_EQ(ObstacleFor(Lane::kFound, situation), "3 documents at work");
    EXPECT_TRUE(Admits(Lane::kNow, situation)) << "somebody waits for it";
    situation.running = 4;
    EXPECT_FALSE(Admits(Lane::kNow, situation));
}

TEST(AdmissionTest, UsesTheOnlySlotOfAPool) {
    Situation situation = Idle();
    situation.slots = 1;
    EXPECT_TRUE(Admits(Lane::kFound, situation));
    situation.running = 1;
    EXPECT_FALSE(Admits(Lane::kFound, situation));
}

TEST(AdmissionTest, StartsNothingWithoutAContainer) {
    Situation situation = Idle();
    situation.slots = 0;
    EXPECT_EQ(ObstacleFor(Lane::kNow, situation), "the pool has no container");
}

TEST(AdmissionTest, KeepsToTheNumberOfWorkersInTheSettings) {
    Situation situation = Idle();
    situation.workers = 1;
    EXPECT_TRUE(Admits(Lane::kNow, situation));
    situation.running = 1;
    EXPECT_FALSE(Admits(Lane::kNow, situation));
    situation.workers = 100;
    situation.running = 3;
    EXPECT_FALSE(Admits(Lane::kFound, situation)) << "one slot stays free for people";
}

TEST(AdmissionTest, ConvertsNothingAheadOfTimeWhileSomebodyWaits) {
    Situation situation = Idle();
    situation.othersWaiting = 1;
    EXPECT_EQ(ObstacleFor(Lane::kChanged, situation), "1 job of other programs waiting");
    EXPECT_TRUE(Admits(Lane::kNow, situation));
}

TEST(AdmissionTest, PausesWhileTheMachineIsBusy) {
    Situation situation = Idle();
    situation.overload = "the disks are busy";
    EXPECT_EQ(ObstacleFor(Lane::kChanged, situation), "the disks are busy");
    EXPECT_TRUE(Admits(Lane::kNow, situation));
}

TEST(AdmissionTest, DoesTheNightsWorkOnlyAtNight) {
    Situation situation = Idle();
    situation.isNight = false;
    EXPECT_FALSE(Admits(Lane::kQueued, situation));
    EXPECT_FALSE(Admits(Lane::kFound, situation));
    EXPECT_TRUE(Admits(Lane::kChanged, situation));
    EXPECT_TRUE(Admits(Lane::kNow, situation));
}

}  // namespace
}  // namespace vellumo::daemon
