// SPDX-License-Identifier: Apache-2.0
// The directories that engines make beside one another: each is one engine's alone, and what a
// killed one has left is removed by the next.
#include "scratch/LockedDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;
using engine::LockedDirectory;

class LockedDirectories : public testing::Test {
protected:
    LockedDirectories() : _folder(testing::TempDir() + "vellumo-locked.XXXXXX") {
        if (mkdtemp(_folder.data()) == nullptr) {
            throw std::runtime_error("cannot make " + _folder);
        }
        _folder += '/';
    }
    ~LockedDirectories() override { fs::remove_all(_folder); }

    std::string Leftover(unsigned number) const { return _folder + "x-" + std::to_string(number); }

    // What a killed engine leaves. Fails where another one has a directory.
    void LeaveDirectory(unsigned number) const { mkdir(Leftover(number).c_str(), S_IRWXU); }

    LockedDirectory Make() const { return {_folder, "x-", engine::RemoveTree}; }

private:
    std::string _folder;
};

// Whether the directory was empty, which it is for its first owner only.
bool IsFirstIn(const LockedDirectory& directory) {
    const std::string mark = directory.Path() + "/mark";
    return static_cast<bool>(support::Descriptor(
        open(mark.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR)));
}

bool HasMark(const LockedDirectory& directory) {
    return fs::exists(directory.Path() + "/mark");
}

TEST_F(LockedDirectories, HaveTheLeastFreeNumbers) {
    const LockedDirectory first = Make();
    const LockedDirectory second = Make();
    EXPECT_EQ(first.Number(), 0U);
    EXPECT_EQ(second.Number(), 1U);
}

TEST_F(LockedDirectories, AreRemovedByTheNextOneWhenTheirEngineWasKilled) {
    LeaveDirectory(7);
    const LockedDirectory next = Make();
    EXPECT_FALSE(fs::exists(Leftover(7)));
}

TEST_F(LockedDirectories, BelongToOneEngineEachHoweverManyBeginAndDie) {
    constexpr int kEngines = 8;
    constexpr unsigned kRounds = 400;
    std::atomic<int> shared = 0;
    std::atomic<int> taken = 0;
    const auto work = [&] {
        for (unsigned round = 0; round < kRounds; ++round) {
            LeaveDirectory(round % kEngines);
            const LockedDirectory own = Make();
            shared += IsFirstIn(own) ? 0 : 1;
            std::this_thread::yield();
            taken += HasMark(own) ? 0 : 1;
        }
    };
    std::vector<std::thread> engines;
    for (int engine = 0; engine < kEngines; ++engine) {
        engines.emplace_back(work);
    }
    for (std::thread& engine : engines) {
        engine.join();
    }
    EXPECT_EQ(shared, 0) << "directories were had by two at a time";
    EXPECT_EQ(taken, 0) << "directories were removed while their owner worked";
}

}  // namespace
}  // namespace vellumo::test
