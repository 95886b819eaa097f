// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/SlotReleases.h"

#include <unistd.h>

#include <filesystem>

#include "Device.h"

using vellumo::loader::SlotReleases;
using namespace vellumo::test;

namespace {

const std::string kLeases = "/var/packages/Vellumo/etc/leases";

class SlotReleasesTest : public DeviceTest {
protected:
    SlotReleasesTest() { MakeDirectory(kLeases); }

    static void Lease(const std::string& name) { WriteFile(kLeases + "/" + name, ""); }
    static void End(const std::string& name) { unlink((kLeases + "/" + name).c_str()); }
};

}  // namespace

TEST_F(SlotReleasesTest, TellThatASlotWasGivenBackOnce) {
    Lease("slot-0123");
    SlotReleases releases;
    EXPECT_FALSE(releases.Take());
    End("slot-0123");
    EXPECT_TRUE(releases.Take());
    EXPECT_FALSE(releases.Take());
}

TEST_F(SlotReleasesTest, TellNothingOfOtherLeasesAndOfSlotsThatAreTaken) {
    Lease("mark-0123");
    SlotReleases releases;
    End("mark-0123");
    Lease("slot-0123");
    EXPECT_FALSE(releases.Take());
}

TEST_F(SlotReleasesTest, TellOneSlotAmongManyOtherLeases) {
    SlotReleases releases;
    for (int i = 0; i < 2000; ++i) {
        Lease("mark-0123");
        End("mark-0123");
    }
    Lease("slot-0123");
    End("slot-0123");
    EXPECT_TRUE(releases.Take());
}

TEST_F(SlotReleasesTest, TellNothingWhereThereAreNoLeases) {
    std::filesystem::remove_all(kLeases);
    SlotReleases releases;
    EXPECT_EQ(releases.WaitOn(), -1);
    EXPECT_FALSE(releases.Take());
}

TEST_F(SlotReleasesTest, TellOfSlotsOnceThereAreLeases) {
    std::filesystem::remove_all(kLeases);
    SlotReleases releases;
    MakeDirectory(kLeases);
    EXPECT_FALSE(releases.Take());
    EXPECT_NE(releases.WaitOn(), -1);
    Lease("slot-0123");
    End("slot-0123");
    EXPECT_TRUE(releases.Take());
}
