// SPDX-License-Identifier: Apache-2.0
#include "convert/ConversionRun.h"

#include <unistd.h>

#include "Tool.h"

using namespace vellumo::test;
using vellumo::cli::ConversionRun;
using vellumo::cli::Job;
using vellumo::cli::JobList;
using vellumo::cli::ProgressBoard;
using vellumo::cli::RunningJobs;

namespace {

// Requests a stop at one look.
class StopAt : public vellumo::loader::StopRequests {
public:
    explicit StopAt(int look) : _look(look) { EXPECT_EQ(write(_pipe.writing.Get(), "x", 1), 1); }
    int WaitOn() const override { return _pipe.reading.Get(); }
    bool Take() override { return ++_looks == _look; }

private:
    vellumo::support::Pipe _pipe = vellumo::support::MakePipe();
    int _look;
    int _looks = 0;
};

class ConversionRunTest : public ToolTest {};

}  // namespace

TEST_F(ConversionRunTest, StopsExploringAFolderWithoutEndAtTheFirstRequest) {
    JobList jobs;
    ProgressBoard board(ProgressBoard::Mode::kNone);
    RunningJobs running(
        {}, "root", [](Job&, const std::string&) {}, board);
    ConversionRun run(jobs, running, board);
    StopAt stops(3);
    int explored = 0;
    const auto explore = [&](Milliseconds) { return ++explored < 1000; };
    const auto end = run.Run({2, {}}, {explore, [](const Job&) {}}, stops);
    EXPECT_EQ(end, ConversionRun::End::kStopped);
    EXPECT_EQ(explored, 3) << "the walk went on after the request";
}
