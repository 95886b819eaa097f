// SPDX-License-Identifier: Apache-2.0
// Measures one permission check for a user in few groups and for a user in many.
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Accounts.h"
#include "Device.h"
#include "DeviceView.h"
#include "vellumo/Path.h"

using namespace vellumo::test;

namespace {

constexpr const char* kDocument = "/volume1/docs/letter.docx";
constexpr gid_t kGroup = 3000;
constexpr gid_t kFirstFurtherGroup = 3001;

// The user who is in that many groups, the primary group included. The primary group may read the
// document.
std::string UserName(int64_t groups) {
    return "in" + std::to_string(groups);
}

std::vector<TestAccount> BenchAccounts() {
    return {{UserName(1), 3001, kGroup}, {UserName(100), 3100, kGroup}};
}

std::vector<TestGroup> BenchGroups() {
    std::vector<TestGroup> groups = {{"readers", kGroup, {}}};
    for (gid_t number = 0; number < 99; ++number) {
        groups.push_back(
            {"further" + std::to_string(number), kFirstFurtherGroup + number, {UserName(100)}});
    }
    return groups;
}

void Check(benchmark::State& state) {
    const Accounts accounts(BenchAccounts(), BenchGroups());
    if (!accounts || !HasOtherUsers()) {
        state.SkipWithError("needs real root in a device view: there are no other users");
        return;
    }
    PrepareFreshDevice();
    WriteFile(kDocument, "content");
    if (chown(kDocument, 0, kGroup) != 0 || chmod(kDocument, 0640) != 0) {
        state.SkipWithError("cannot prepare the document");
        return;
    }
    const std::string user = UserName(state.range(0));
    for (auto _ : state) {
        if (!NAVO::VELLUMO::path::HasReadPermission(kDocument, user)) {
            state.SkipWithError("the user may not read");
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    EnterDeviceView(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::RegisterBenchmark("permission check, groups of the user", Check)
        ->Arg(1)
        ->Arg(100)
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime()
        ->Repetitions(5)
        ->ReportAggregatesOnly();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
