// SPDX-License-Identifier: Apache-2.0
// The directories that processes with an office make beside one another.
#include "Room.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vellumo::office {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kOwn = static_cast<uid_t>(-1);

class Homes : public testing::Test {
protected:
    Homes() : _folder(testing::TempDir() + "vellumo-homes.XXXXXX") {
        if (mkdtemp(_folder.data()) == nullptr) {
            throw std::runtime_error("cannot make " + _folder);
        }
    }
    ~Homes() override { fs::remove_all(_folder); }

    const std::string& Folder() const { return _folder; }
    Home Make() const { return {_folder, kOwn}; }

private:
    std::string _folder;
};

TEST_F(Homes, AreRemovedByTheNextOneWhenTheirProcessWasKilled) {
    const std::string left = Folder() + "/vellumo-office-killed";
    fs::create_directories(left + "/room-0");
    const Home next = Make();
    EXPECT_FALSE(fs::exists(left));
}

TEST_F(Homes, LetOthersPassThroughButNotList) {
    const Home home = Make();
    EXPECT_EQ(fs::status(home.Path()).permissions(), fs::perms{0711});
}

TEST_F(Homes, AreLeftAloneByProcessesThatStartAtTheSameMoment) {
    constexpr int kProcesses = 8;
    constexpr int kRounds = 200;
    std::atomic<int> lost = 0;
    const auto work = [&] {
        for (int round = 0; round < kRounds; ++round) {
            const Home own = Make();
            std::this_thread::yield();
            lost += fs::exists(own.Path()) ? 0 : 1;
        }
    };
    std::vector<std::thread> processes;
    for (int process = 0; process < kProcesses; ++process) {
        processes.emplace_back(work);
    }
    for (std::thread& process : processes) {
        process.join();
    }
    EXPECT_EQ(lost, 0) << "homes were removed while their owner worked";
}

}  // namespace
}  // namespace vellumo::office
