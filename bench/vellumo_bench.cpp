// SPDX-License-Identifier: Apache-2.0
// Measures the time that the library adds to the command line that it runs, and the time of a claim
// in a long queue.
#include <benchmark/benchmark.h>
#include <navo/exec.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "Device.h"
#include "DeviceView.h"
#include "StateFile.h"
#include "vellumo/Constants.h"
#include "vellumo/ContainerPoolManager.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;

namespace {

constexpr const char* kDocument = "/volume1/docs/letter.docx";
constexpr const char* kScratchDocument = "/volume1/docker/@tmp/Vellumo/@tmp/source/bench0.docx";
constexpr const char* kBareProduct = "/volume1/docker/@tmp/Vellumo/@tmp/target/bench0.pdf";

enum Tools { kScripted, kReal };

void PrepareDevice(Tools tools) {
    PrepareFreshDevice();
    std::filesystem::copy_file(VELLUMO_SAMPLES "/letter.docx", kDocument);
    MakeDirectory(kSourceDir);
    MakeDirectory(kTargetDir);
    std::filesystem::create_hard_link(kDocument, kScratchDocument);
    if (tools == kReal) {
        UseEmbeddedEngine();
    }
}

// Runs the command line for a whole .docx on a source that is in the scratch directory already.
int RunBareCommand() {
    std::vector<std::string> command{"/usr/local/bin/docker",
                                     "exec",
                                     "navo1",
                                     "timeout",
                                     "--kill-after=5",
                                     "120",
                                     "soffice",
                                     "--headless",
                                     "--convert-to",
                                     "pdf",
                                     "--outdir",
                                     SZF_COVERT_TARGET_DIR,
                                     std::string(SZF_COVERT_SOURCE_DIR) + "bench0.docx"};
    std::vector<char*> argv;
    for (std::string& element : command) {
        argv.push_back(element.data());
    }
    argv.push_back(nullptr);
    return NLIBCExecv(argv[0], argv.data(), 1);
}

void Bare(benchmark::State& state, Tools tools) {
    PrepareDevice(tools);
    for (auto _ : state) {
        if (RunBareCommand() != 0 || unlink(kBareProduct) != 0) {
            state.SkipWithError("the bare command left no product");
        }
    }
}

void Library(benchmark::State& state, Tools tools) {
    PrepareDevice(tools);
    path::Path source;
    source.SetData("sharePath", "/docs/letter.docx", true);
    for (auto _ : state) {
        path::Path product;
        if (converter::ToPDF(source, product, nullptr) != 1000 ||
            unlink(product.GetRealPath().c_str()) != 0) {
            state.SkipWithError("the conversion failed");
        }
    }
}

std::string QueueKey(int64_t number) {
    return "soffice--headless--convert-topdf--outdir/Vellumo/@tmp/target//Vellumo/@tmp/source/" +
           std::to_string(number) + ".docx";
}

// Measures one claim of a slot while `range(0)` other jobs are waiting.
void Claim(benchmark::State& state) {
    PrepareFreshDevice();
    Json::Value file = State();
    file["waitingQueue"] = Parsed("[{},{},{}]");
    for (int64_t i = 0; i < state.range(0); ++i) {
        file["waitingQueue"][2][QueueKey(i)] = true;
    }
    WriteState(file.toStyledString());
    ContainerPoolManager pool(MAX_USING_COUNT, MAX_MEMORY_COUNT, PARALLEL_COUNT);
    const std::string key = QueueKey(0);
    const std::vector<std::string> command;
    const ContainerPoolManager::Task task{key, command, ContainerPoolManager::PRIORITY_HIGH};
    std::string container;
    for (auto _ : state) {
        if (!pool.IsReadyToExecute(task, container)) {
            state.SkipWithError("no slot");
        }
        state.PauseTiming();
        pool.DecUsingCount(container);
        pool.AddWaitingQueue(task);
        state.ResumeTiming();
    }
}

// Prints as usual, and stores the medians for the comparison at the end.
class Reporter : public benchmark::ConsoleReporter {
public:
    Reporter() : ConsoleReporter(isatty(STDOUT_FILENO) == 1 ? OO_Defaults : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") {
                _medians[run.run_name.function_name] = run.GetAdjustedRealTime();
            }
        }
    }

    void PrintComparison() const {
        for (const std::string tools : {"scripted", "real"}) {
            const auto bare = _medians.find(tools + " tool, bare");
            const auto library = _medians.find(tools + " tool, library");
            if (bare == _medians.end() || library == _medians.end()) {
                continue;
            }
            std::cout << tools << " tool: the library adds " << library->second - bare->second
                      << " ms to " << bare->second << " ms at the median, times "
                      << library->second / bare->second << '\n';
        }
    }

private:
    std::map<std::string, double> _medians;
};

void RegisterPair(const std::string& name, Tools tools, int iterations, int repetitions) {
    for (const bool library : {false, true}) {
        benchmark::RegisterBenchmark((name + (library ? " tool, library" : " tool, bare")).c_str(),
                                     library ? Library : Bare, tools)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->Iterations(iterations)
            ->Repetitions(repetitions)
            ->ReportAggregatesOnly();
    }
}

}  // namespace

int main(int argc, char** argv) {
    EnterDeviceView(argc, argv);
    // Interleaved, so that a change in the machine's load affects both sides.
    std::vector<std::string> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, "--benchmark_enable_random_interleaving=true");
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        return 2;
    }
    RegisterPair("scripted", kScripted, 20, 25);
    RegisterPair("real", kReal, 1, 11);
    benchmark::RegisterBenchmark("claim, jobs waiting", Claim)
        ->Arg(10)
        ->Arg(1000)
        ->Arg(10000)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Repetitions(5)
        ->ReportAggregatesOnly();
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintComparison();
    return 0;
}
