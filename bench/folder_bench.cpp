// SPDX-License-Identifier: Apache-2.0
// Measures folders that the command line converts: several documents at once, and how soon a large
// folder starts.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Device.h"
#include "DeviceView.h"
#include "Process.h"
#include "StateFile.h"
#include "vellumo/BaseDB.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;

namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;

constexpr int kDocuments = 40;
constexpr int kToolMs = 250;  // about what a warm office takes; it needs no core of this machine
constexpr int kManyDocuments = 100000;
constexpr int kDocumentsInFolder = 500;

ChildProcess Start(const std::vector<std::string>& options) {
    std::vector<std::string> command{VELLUMO_TOOL, "pdf", "-q", "-r", "/docs"};
    command.insert(command.end(), options.begin(), options.end());
    return ChildProcess([command] { return BecomeProgram(command); });
}

void RegisterContainers(int64_t count) {
    std::string state = "{";
    for (int64_t i = 1; i <= count; ++i) {
        state += (i == 1 ? "" : ",") + std::string(R"("navo)") + std::to_string(i) +
                 R"(":{"using":0,"used":0})";
    }
    WriteState(state + "}");
}

std::string FolderOf(int64_t number) {
    return "/volume1/docs/" + std::to_string(number / kDocumentsInFolder);
}

std::string DocumentOf(int64_t number) {
    return FolderOf(number) + "/report " + std::to_string(number) + ".docx";
}

void MakeDocuments(int64_t count) {
    for (int64_t i = 0; i < count; ++i) {
        if (i % kDocumentsInFolder == 0) {
            MakeDirectory(FolderOf(i));
        }
        WriteFile(DocumentOf(i), "some document");
    }
}

// The whole folder, with as many containers as the benchmark's argument says.
void Convert(benchmark::State& state) {
    PrepareFreshDevice();
    RegisterContainers(state.range(0));
    MakeDocuments(kDocuments);
    PlayTool({.sleepMs = kToolMs});
    for (auto _ : state) {
        if (Start({"--refresh"}).Wait() != 0) {
            state.SkipWithError("not every document was converted");
        }
    }
    state.counters["documents/s"] =
        benchmark::Counter(kDocuments, benchmark::Counter::kIsIterationInvariantRate);
}

// A pool of two real offices, in the embedded engine, which keeps them warm.
bool StartOffices() {
    PrepareFreshDevice();
    UseEmbeddedEngine();
    WriteState("{}");
    return RunProgram({VELLUMO_TOOL, "pool", "up", "--engine", "embedded", "--size", "2"}).status ==
           0;
}

void EndOffices() {
    RunProgram({VELLUMO_TOOL, "pool", "down", "--force"});
}

// The same as Convert() with the real office; the benchmark's argument says how many containers are
// used.
void ConvertReally(benchmark::State& state) {
    if (!StartOffices()) {
        state.SkipWithError("no pool");
        return;
    }
    const std::string letter = ReadFile(VELLUMO_SAMPLES "/letter.docx");
    for (int i = 0; i < kDocuments; ++i) {
        WriteFile("/volume1/docs/letter " + std::to_string(i) + ".docx", letter);
    }
    const std::string jobs = std::to_string(state.range(0));
    for (auto _ : state) {
        if (Start({"--refresh", "--jobs", jobs}).Wait() != 0) {
            state.SkipWithError("not every document was converted");
        }
    }
    state.counters["documents/s"] =
        benchmark::Counter(kDocuments, benchmark::Counter::kIsIterationInvariantRate);
    EndOffices();
}

bool ConvertWithOffice(const std::string& container, int count) {
    const std::string source = "bench-" + container + ".docx";
    fs::copy_file(VELLUMO_SAMPLES "/letter.docx", kSourceDir + source);
    for (int i = 0; i < count; ++i) {
        RunProgram({"/usr/local/bin/docker", "exec", container, "timeout", "--kill-after=5", "120",
                    "soffice", "--headless", "--convert-to", "pdf", "--outdir",
                    core::SZF_COVERT_TARGET_DIR, core::SZF_COVERT_SOURCE_DIR + source});
        if (unlink((kTargetDir + ("bench-" + container + ".pdf")).c_str()) != 0) {
            return false;
        }
    }
    return true;
}

// As many letters with the offices alone, without the library: what the machine can do at most.
void RunOffices(benchmark::State& state) {
    if (!StartOffices()) {
        state.SkipWithError("no pool");
        return;
    }
    const auto offices = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::vector<ChildProcess> processes;
        for (int i = 1; i <= offices; ++i) {
            processes.emplace_back([&, i] {
                return ConvertWithOffice("navo" + std::to_string(i), kDocuments / offices) ? 0 : 1;
            });
        }
        for (ChildProcess& process : processes) {
            if (process.Wait() != 0) {
                state.SkipWithError("an office left no product");
            }
        }
        for (const std::string& name : Names(kSourceDir)) {
            unlink((kSourceDir + name).c_str());
        }
    }
    state.counters["documents/s"] =
        benchmark::Counter(kDocuments, benchmark::Counter::kIsIterationInvariantRate);
    EndOffices();
}

// From the start of the command to its first tool, with a hundred thousand documents.
void StartLarge(benchmark::State& state) {
    PrepareFreshDevice();
    MakeDocuments(kManyDocuments);
    for (auto _ : state) {
        unlink("/device/docker-calls");
        PlayTool({.sleepMs = kToolMs});
        const auto begin = std::chrono::steady_clock::now();
        ChildProcess tool = Start({});
        if (!ToolsAreCalled()) {
            state.SkipWithError("no tool was called");
        }
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
        std::this_thread::sleep_for(std::chrono::seconds(15));  // all is looked through by then
        state.counters["MiB"] = MemoryOf(tool.Id(), "VmHWM");
        tool.Signal(SIGTERM);
        tool.Wait();
    }
}

// Waits until the tools have been called so often in all, or the time for that is over.
class Calls {
public:
    bool WaitFor(int count) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::hours(2);
        while (_seen < count && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            Read();
        }
        return _seen >= count;
    }

private:
    void Read() {
        _file.clear();  // after the end that the last Read() met
        for (char character = 0; _file.get(character);) {
            _seen += character == '\n' ? 1 : 0;
        }
    }

    std::ifstream _file{"/device/docker-calls"};
    int _seen = 0;
};

// A hundred thousand documents to the end, with a tool that takes no time: whether a document costs
// more, the more have been converted. For each number the mean of the thousand before it.
void ConvertLarge(benchmark::State& state) {
    PrepareFreshDevice();
    RegisterContainers(state.range(0));
    MakeDocuments(kManyDocuments);
    PlayTool({});
    for (auto _ : state) {
        WriteFile("/device/docker-calls", "");
        Calls calls;
        ChildProcess tool = Start({});
        for (const int mark : {1000, 10000, 50000, kManyDocuments}) {
            calls.WaitFor(mark - 999);
            const auto begin = std::chrono::steady_clock::now();
            if (!calls.WaitFor(mark)) {
                state.SkipWithError("a document takes too long");
            }
            const std::chrono::duration<double, std::milli> taken =
                std::chrono::steady_clock::now() - begin;
            state.counters["ms at " + std::to_string(mark)] = taken.count() / 1000;
            std::cerr << mark << " documents: " << taken.count() / 1000 << " ms each, "
                      << MemoryOf(tool.Id(), "VmHWM") << " MiB\n";
        }
        state.counters["MiB"] = MemoryOf(tool.Id(), "VmHWM");
        if (tool.Wait() != 0) {
            state.SkipWithError("not every document was converted");
        }
    }
    state.counters["documents/s"] =
        benchmark::Counter(kManyDocuments, benchmark::Counter::kIsIterationInvariantRate);
}

// Leaves a PDF for each of the first `count` documents, as an earlier run has kept them.
void KeepPdfs(int64_t count) {
    unlink(core::SZF_CACHE_DB_PATH);
    { const core::CacheManager creator(false, 0); }
    core::BaseDB index;
    index.path = core::SZF_CACHE_DB_PATH;
    bool kept = index.Open() && index.Exec("BEGIN");
    for (int64_t i = 0; i < count && kept; ++i) {
        const std::string document = DocumentOf(i);
        struct stat status {};
        std::string stream;
        kept =
            stat(document.c_str(), &status) == 0 &&
            core::CacheManager::GetEAPath(document, core::SZK_THUMB_PDF_TYPE, stream) &&
            index.Exec("INSERT INTO cache_target VALUES ('" + document + "', " +
                       std::to_string(status.st_mtime) + ")") &&
            index.Exec("INSERT INTO cache(target, stream, size, access) VALUES ('" + document +
                       "', '" + core::SZK_THUMB_PDF_TYPE + "', 9, " + std::to_string(i + 1) + ")");
        WriteFile(stream, "%PDF-1.4\n");
    }
    if (!kept || !index.Exec("COMMIT")) {
        throw std::runtime_error("cannot keep PDFs");
    }
}

// The processor time of the process and of all its children that have ended, in milliseconds.
double ProcessorTimeOf(pid_t process) {
    constexpr int kFirst = 14;  // utime, stime, cutime, cstime; see proc(5)
    constexpr int kLast = 17;
    std::istringstream fields(ReadFile("/proc/" + std::to_string(process) + "/stat"));
    std::string field;
    double ticks = 0;
    for (int number = 1; number <= kLast && fields >> field; ++number) {
        ticks += number >= kFirst ? std::stod(field) : 0;
    }
    return ticks * 1000 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// What a document costs in a folder in which all others are converted: of two thousand that are
// not, the second thousand, because the folder is still looked through during the first.
void ConvertTheLast(benchmark::State& state) {
    constexpr int kOpen = 2000;
    constexpr int kMeasured = 1000;
    PrepareFreshDevice();
    RegisterContainers(4);
    MakeDocuments(state.range(0));
    KeepPdfs(state.range(0) - kOpen);
    PlayTool({});
    for (auto _ : state) {
        WriteFile("/device/docker-calls", "");
        Calls calls;
        ChildProcess tool = Start({});
        calls.WaitFor(kOpen - kMeasured);
        const auto begin = std::chrono::steady_clock::now();
        const double before = ProcessorTimeOf(tool.Id());
        if (!calls.WaitFor(kOpen)) {
            state.SkipWithError("a document takes too long");
        }
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
        state.counters["cpu ms"] = (ProcessorTimeOf(tool.Id()) - before) / kMeasured;
        state.SetIterationTime(taken.count() / kMeasured);
        if (tool.Wait() != 0) {
            state.SkipWithError("not every document was converted");
        }
    }
}

// All of a hundred thousand documents looked through, and told as one JSON document.
void LookThroughLarge(benchmark::State& state) {
    PrepareFreshDevice();
    MakeDocuments(kManyDocuments);
    for (auto _ : state) {
        ChildProcess tool([] {
            const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
            dup2(null, STDOUT_FILENO);
            return BecomeProgram({VELLUMO_TOOL, "pdf", "-r", "/docs", "--dry-run", "--json"});
        });
        if (tool.Wait() != 0) {
            state.SkipWithError("the dry run failed");
        }
    }
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);  // the largest child so far; none before was larger
    state.counters["MiB"] = static_cast<double>(usage.ru_maxrss) / 1024;
}

void RegisterSmallFolders() {
    for (const int64_t containers : {1, 2, 4, 8}) {
        benchmark::RegisterBenchmark("folder of 40, containers", Convert)
            ->Arg(containers)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1)
            ->UseRealTime();
    }
    for (const int64_t containers : {1, 2}) {
        benchmark::RegisterBenchmark("folder of 40 letters, real office, jobs", ConvertReally)
            ->Arg(containers)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1)
            ->UseRealTime();
    }
    for (const int64_t offices : {1, 2}) {
        benchmark::RegisterBenchmark("40 letters, offices alone, at once", RunOffices)
            ->Arg(offices)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1)
            ->UseRealTime();
    }
}

void RegisterLargeFolders() {
    benchmark::RegisterBenchmark("folder of 100000, first tool", StartLarge)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseManualTime();
    benchmark::RegisterBenchmark("folder of 100000, all, containers", ConvertLarge)
        ->Arg(4)
        ->Unit(benchmark::kSecond)
        ->Iterations(1)
        ->UseRealTime();
    for (const int64_t documents : {2000, 10000, 100000}) {
        benchmark::RegisterBenchmark("the last of a folder, documents", ConvertTheLast)
            ->Arg(documents)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(1)
            ->UseManualTime();
    }
    benchmark::RegisterBenchmark("folder of 100000, dry run", LookThroughLarge)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
    EnterDeviceView(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    RegisterSmallFolders();
    RegisterLargeFolders();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
