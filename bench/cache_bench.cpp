// SPDX-License-Identifier: Apache-2.0
// Measures the cache's operations for indexes of different sizes, and the time that the library
// adds to the tools that make a cached PDF or a thumbnail.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <navo/exec.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "Device.h"
#include "DeviceView.h"
#include "loader/cache/Collection.h"
#include "vellumo/BaseDB.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;

namespace {

// An index of many documents. The benchmarks touch some of them, spread evenly over the index: only
// these are on the disk too, and their streams were accessed longest ago.
class Index {
public:
    static constexpr int64_t kTouched = 100;
    static constexpr long kStreamSize = 1000;  // bytes, of every stream
    static constexpr long kNoLimit = 1L << 40;

    explicit Index(int64_t rows) : _rows(rows), _stride(rows / kTouched) {
        PrepareFreshDevice();
        unlink(SZF_CACHE_DB_PATH);
        MakeDirectory(kFolder);
        Fill();
        for (int64_t i = 0; i < kTouched; ++i) {
            MakeFiles(Document(i));
        }
    }

    // Returns the `i`-th touched document.
    std::string Document(int64_t i) const {
        char name[32];
        std::snprintf(name, sizeof(name), "%08ld.docx", i % kTouched * _stride);
        return kFolder + name;
    }

    int64_t Rows() const { return _rows; }

    static std::string NewDocument(int64_t i) {
        std::string document = kFolder + "new" + std::to_string(i) + ".docx";
        WriteFile(document, "document");
        return document;
    }

private:
    inline static const std::string kFolder = "/volume1/docs/folder/";
    static constexpr time_t kModified = 1000;

    void Fill() const {
        { const CacheManager creator(false, 0); }
        BaseDB index;
        index.path = SZF_CACHE_DB_PATH;
        const std::string stride = std::to_string(_stride);
        const bool filled =
            index.Open() && index.Exec("BEGIN") &&
            index.Exec(
                "INSERT INTO cache_target WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL "
                "SELECT i + 1 FROM n WHERE i + 1 < " +
                std::to_string(_rows) + ") SELECT printf('" + kFolder + "%08d.docx', i), " +
                std::to_string(kModified) + " FROM n") &&
            index.Exec("INSERT INTO cache(target, stream, size, access) SELECT path, '" +
                       std::string(SZK_THUMB_PDF_TYPE) + "', " + std::to_string(kStreamSize) +
                       ", rowid + iif((rowid - 1) % " + stride +
                       " = 0, 0, 1000000) FROM cache_target ORDER BY rowid") &&
            index.Exec("COMMIT");
        if (!filled) {
            std::abort();
        }
    }

    static void MakeFiles(const std::string& document) {
        WriteFile(document, "document");
        const timespec times[2] = {{kModified, 0}, {kModified, 0}};
        std::string stream;
        if (utimensat(AT_FDCWD, document.c_str(), times, 0) != 0 ||
            !CacheManager::GetEAPath(document, SZK_THUMB_PDF_TYPE, stream)) {
            std::abort();
        }
        WriteFile(stream, std::string(kStreamSize, 'p'));
    }

    int64_t _rows;
    int64_t _stride;
};

// Gets an up-to-date stream from an open cache.
void Get(benchmark::State& state) {
    const Index index(state.range(0));
    CacheManager cache(false, 0);
    int64_t i = 0;
    for (auto _ : state) {
        std::ifstream in;
        if (!cache.Get(index.Document(i++), SZK_THUMB_PDF_TYPE, in)) {
            state.SkipWithError("no stream");
        }
    }
}

// The same, and opens the cache each time, as a loader does.
void OpenAndGet(benchmark::State& state) {
    const Index index(state.range(0));
    int64_t i = 0;
    for (auto _ : state) {
        CacheManager cache(false, 0);
        std::ifstream in;
        if (!cache.Get(index.Document(i++), SZK_THUMB_PDF_TYPE, in)) {
            state.SkipWithError("no stream");
        }
    }
}

// Stores the first stream of a document that the index does not list yet, within the size limit.
void Set(benchmark::State& state, bool collect) {
    const Index index(state.range(0));
    CacheManager cache(collect, Index::kNoLimit);
    const std::string product = "/volume1/docs/product";
    int64_t i = 0;
    for (auto _ : state) {
        state.PauseTiming();
        WriteFile(product, std::string(Index::kStreamSize, 'p'));
        const std::string document = Index::NewDocument(i++);
        state.ResumeTiming();
        if (!cache.Set(product, document, SZK_THUMB_PDF_TYPE, true)) {
            state.SkipWithError("not stored");
        }
    }
}

void Vacuum(benchmark::State& state) {
    const Index index(state.range(0));
    BaseDB db;
    db.path = SZF_CACHE_DB_PATH;
    db.Open();
    for (auto _ : state) {
        if (!db.Exec("VACUUM")) {
            state.SkipWithError("VACUUM failed");
        }
    }
}

// Collects garbage in a cache that is one byte over its limit, which removes one stream.
void Collect(benchmark::State& state) {
    const Index index(state.range(0));
    int64_t left = index.Rows();
    for (auto _ : state) {
        state.PauseTiming();
        CacheManager cache(false, left-- * Index::kStreamSize - 1);
        state.ResumeTiming();
        cache.GarbageCollect();
    }
    if (CacheManager(false, 0).CalculateGCSize() != left * Index::kStreamSize) {
        state.SkipWithError("not one stream a run");
    }
}

// One command as the library has run it, to run it again without the library.
struct Command {
    std::vector<std::string> argv;
    std::string source;   // path where it expects its document
    std::string product;  // path where it leaves its product
};

// Returns the path, outside the container, of the file in the directory `inside` that the command
// names; "" when it names none. `inside`: the directory's path inside the container.
std::string FileIn(const std::string& inside, const std::vector<std::string>& argv) {
    for (const std::string& argument : argv) {
        const size_t at = argument.find(inside);
        if (at != std::string::npos && at + inside.size() < argument.size()) {
            return "/volume1/docker/@tmp" + argument.substr(at);
        }
    }
    return "";
}

Command CommandOf(const std::vector<std::string>& argv) {
    Command command{argv, FileIn(SZF_COVERT_SOURCE_DIR, argv), FileIn(SZF_COVERT_TARGET_DIR, argv)};
    if (command.product.empty()) {  // the command line names only a directory
        const std::filesystem::path source(command.source);
        command.product = kTargetDir + source.stem().string() + ".pdf";
    }
    return command;
}

bool RunCommand(Command& command) {
    std::vector<char*> argv;
    for (std::string& element : command.argv) {
        argv.push_back(element.data());
    }
    argv.push_back(nullptr);
    return NLIBCExecv("/usr/local/bin/docker", argv.data(), 1) == 0;
}

// Each command's product is the next one's source.
bool RunCommands(std::vector<Command>& commands) {
    for (size_t i = 0; i < commands.size(); ++i) {
        if (i > 0 && rename(commands[i - 1].product.c_str(), commands[i].source.c_str()) != 0) {
            return false;
        }
        if (!RunCommand(commands[i])) {
            return false;
        }
    }
    return unlink(commands.back().product.c_str()) == 0;
}

using Service = int (*)(const path::Path&);

// Prepares a fresh device with a sample in its share. Returns the sample's real path.
std::string PrepareSample(const std::string& sample) {
    PrepareFreshDevice();
    unlink(SZF_CACHE_DB_PATH);
    UseEmbeddedEngine();
    std::string document = "/volume1/docs/" + sample;
    std::filesystem::copy_file(std::string(VELLUMO_SAMPLES) + "/" + sample, document);
    return document;
}

bool Serve(Service service, const std::string& document) {
    path::Path source;
    source.SetData("realPath", document, true);
    return service(source) == 1000;
}

void Library(benchmark::State& state, Service service, const std::string& sample) {
    const std::string document = PrepareSample(sample);
    for (auto _ : state) {
        if (!Serve(service, document)) {
            state.SkipWithError("the library failed");
        }
    }
}

// Runs the command lines that the library runs for it, with the engine but without the library.
void Bare(benchmark::State& state, Service service, const std::string& sample) {
    const std::string document = PrepareSample(sample);
    UseNotedEngine();
    if (!Serve(service, document)) {
        state.SkipWithError("the library failed");
        return;
    }
    std::vector<Command> commands;
    const std::vector<std::vector<std::string>> calls = DockerCalls();
    std::transform(calls.begin(), calls.end(), std::back_inserter(commands), CommandOf);
    std::filesystem::copy_file(document, commands.front().source);
    UseEmbeddedEngine();
    for (auto _ : state) {
        if (!RunCommands(commands)) {
            state.SkipWithError("the bare commands failed");
        }
    }
}

double MsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

// Converts and keeps a new document, with a tool that takes no time. The fastest tenth is what the
// work itself takes on a machine that does other work too.
void Keep(benchmark::State& state, Service service) {
    const Index index(state.range(0));
    PlayTool({});
    std::vector<double> times;
    for (auto _ : state) {
        state.PauseTiming();
        const std::string document = Index::NewDocument(static_cast<int64_t>(times.size()));
        state.ResumeTiming();
        const auto begin = std::chrono::steady_clock::now();
        if (!Serve(service, document)) {
            state.SkipWithError("the library failed");
        }
        times.push_back(MsSince(begin));
    }
    std::sort(times.begin(), times.end());
    state.counters["fastest tenth, ms"] = times[times.size() / 10];
}

// What the command line does after 200 PDFs in a cache that is full.
void CollectAfterMany(benchmark::State& state) {
    constexpr int64_t kMany = 200;
    const Index index(state.range(0));
    int64_t left = index.Rows();
    for (auto _ : state) {
        left -= kMany;
        if (vellumo::loader::CollectDownTo(left * Index::kStreamSize, "").streams != kMany) {
            state.SkipWithError("not as many as were stored");
        }
    }
}

void RegisterByKept(const std::string& name, int iterations,
                    const std::function<void(benchmark::State&)>& measured) {
    benchmark::RegisterBenchmark((name + ", documents kept").c_str(), measured)
        ->Arg(1000)
        ->Arg(10000)
        ->Arg(100000)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Iterations(iterations)
        ->Repetitions(3)
        ->ReportAggregatesOnly();
}

void RegisterKept() {
    const auto keepBy = [](Service service) {
        return [service](benchmark::State& state) { Keep(state, service); };
    };
    RegisterByKept("a PDF stored, ToPDFCache", 10, keepBy(converter::ToPDFCache));
    RegisterByKept("a PDF stored, without collection", 100,
                   keepBy(converter::ToPDFCacheWithoutCollection));
    RegisterByKept("a collection of 200 PDFs", 3, CollectAfterMany);
}

void RegisterByRows(const std::string& name, void (*measured)(benchmark::State&), int iterations) {
    benchmark::RegisterBenchmark(name.c_str(), measured)
        ->Arg(100)
        ->Arg(10000)
        ->Arg(100000)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Iterations(iterations)
        ->Repetitions(5)
        ->ReportAggregatesOnly();
}

void RegisterIndex() {
    RegisterByRows("Get, documents cached", Get, 500);
    RegisterByRows("open and Get, documents cached", OpenAndGet, 500);
    RegisterByRows(
        "Set without collection, documents cached",
        [](benchmark::State& state) { Set(state, false); }, 20);
    RegisterByRows(
        "Set with collection, documents cached", [](benchmark::State& state) { Set(state, true); },
        5);
    RegisterByRows("VACUUM, documents cached", Vacuum, 5);
    RegisterByRows("collection of one stream, documents cached", Collect, 5);
}

void RegisterSample(const std::string& name,
                    void (*measured)(benchmark::State&, Service, const std::string&),
                    Service service, const std::string& sample) {
    benchmark::RegisterBenchmark(name.c_str(), measured, service, sample)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime()
        ->Iterations(1)
        ->Repetitions(5)
        ->ReportAggregatesOnly();
}

void RegisterSamples() {
    for (const std::string sample :
         {"letter.docx", "report.odt", "budget.xlsx", "inventory.ods", "slides.odp", "pitch.pptx",
          "floorplan.odg", "book.epub", "brochure.pdf"}) {
        RegisterSample("cached PDF, " + sample + ", bare", Bare, converter::ToPDFCache, sample);
        RegisterSample("cached PDF, " + sample + ", library", Library, converter::ToPDFCache,
                       sample);
        RegisterSample("thumbnail, " + sample + ", bare", Bare, converter::ToThumbnail, sample);
        RegisterSample("thumbnail, " + sample + ", library", Library, converter::ToThumbnail,
                       sample);
    }
}

}  // namespace

int main(int argc, char** argv) {
    EnterDeviceView(argc, argv);
    // Interleaved, so that a change in the machine's load affects both sides.
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleaved.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    RegisterIndex();
    RegisterKept();
    RegisterSamples();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
