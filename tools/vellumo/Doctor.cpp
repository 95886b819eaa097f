// SPDX-License-Identifier: Apache-2.0
#include "Doctor.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "CachedProducts.h"
#include "Conversion.h"
#include "EngineClient.h"
#include "Explanations.h"
#include "PoolState.h"
#include "ServerCheck.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {

// A document with which a tool is tried.
struct Doctor::Canary {
    const char* tool;
    const char* document;
    Assignment assignment;
    const char* beginning;  // of a product that is one
    const char* package;    // the tool's, on Debian
};

namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;
using Service = Assignment::Service;

constexpr auto kAnswerLimit = std::chrono::seconds(20);
constexpr const char* kFolderOfCanaries = "/docker/@tmp/Vellumo";

// The documents, beside the program in a build tree or where it is installed.
fs::path CanaryPlace() {
    const fs::path here = fs::read_symlink("/proc/self/exe").parent_path();
    for (const char* place : {"canaries", VELLUMO_CANARIES}) {
        if (fs::is_directory(here / place)) {
            return here / place;
        }
    }
    throw Failure({ExitCode::kFailed,
                   "cannot try the tools",
                   "the documents for that are missing from " +
                       (here / VELLUMO_CANARIES).lexically_normal().string(),
                   "Install Vellumo again.",
                   {}});
}

// A folder on the scratch directories' volume that no user sees, with the canaries in it; gone at
// the end with everything in it.
class CanaryFolder {
public:
    CanaryFolder() : _realPath(Resolve(kFolderOfCanaries, "").realPath) {
        fs::create_directories(_realPath);
        _realPath += "/@doctor-XXXXXX";
        if (mkdtemp(_realPath.data()) == nullptr) {
            const std::error_code error(errno, std::generic_category());
            _realPath.clear();
            throw fs::filesystem_error("cannot make a folder for the doctor's documents", error);
        }
        for (const char* document : {"report.odt", "budget.xlsx", "brochure.pdf", "book.epub"}) {
            fs::copy_file(CanaryPlace() / document, fs::path(_realPath) / document);
        }
    }
    ~CanaryFolder() {
        if (!_realPath.empty()) {
            std::error_code ignored;
            fs::remove_all(_realPath, ignored);
        }
    }
    CanaryFolder(const CanaryFolder&) = delete;
    CanaryFolder& operator=(const CanaryFolder&) = delete;

    std::string SharePath() const {
        return std::string(kFolderOfCanaries) + "/" + fs::path(_realPath).filename().string();
    }

private:
    std::string _realPath;
};

bool BeginsWith(const std::string& path, const std::string& beginning) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(beginning.size(), '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return file && bytes == beginning;
}

std::string Seconds(double seconds) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << seconds << " s";
    return text.str();
}

bool IsLowPriority(const Assignment& assignment) {
    return assignment.pages != nullptr || assignment.service == Service::kThumbnail;
}

void Print(const Finding& finding) {
    std::cout << (finding.sound ? "ok      " : "FAILED  ") << Printable(finding.subject) << ": "
              << Printable(finding.detail) << '\n';
    if (!finding.remedy.empty()) {
        std::cout << "        " << Printable(finding.remedy) << '\n';
    }
    std::cout << std::flush;
}

}  // namespace

void Doctor::Add(Finding finding) {
    _tell(finding);
    _findings.push_back(std::move(finding));
}

void Doctor::AddProblem(const std::string& subject, const Problem& problem) {
    std::string detail = problem.why;
    for (const std::string& line : problem.toolOutput) {
        detail += "; " + line;
    }
    Add({subject, false, detail, problem.next});
}

// Does `check`, which throws when something is wrong; `detail` tells how it is when nothing is.
bool Doctor::Check(const std::string& subject, const std::string& detail,
                   const std::function<void()>& check) {
    try {
        check();
    } catch (const Failure& failure) {
        AddProblem(subject, failure.Reason());
        return false;
    }
    Add({subject, true, detail, ""});
    return true;
}

void Doctor::Examine() {
    if (CheckServerAndPool() && CheckEngine()) {
        CheckContainers();
        CheckCounts();
        CheckTools();
    }
}

bool Doctor::CheckServerAndPool() {
    const bool rights = Check("rights", "those of root can be had", [] { CheckRights(""); });
    const bool server = rights && Check("server",
                                        "there is a share for scratch files and a client "
                                        "of a container engine",
                                        [] { CheckServer(""); });
    Check("index of the cache", core::SZF_CACHE_DB_PATH, [] { OpenCache(""); });
    return Check("state file", core::SZF_CONFIG_PATH,
                 [] { ReadPool("", core::LOCK_TIMEOUT_SECS); }) &&
           server;
}

bool Doctor::CheckEngine() {
    const EngineFacts engine = LookAtEngine();
    if (engine.engine == Engine::kNone) {
        Add({"engine", false, std::string(kEngineClient) + " does not answer: " + engine.version,
             "Start the container engine, or put the embedded one there."});
        return false;
    }
    Add({"engine", true, engine.version, ""});
    return Check("pool", "there are containers for all kinds of work",
                 [] { CheckPool("", core::ContainerPoolManager::PRIORITY_LOW); });
}

void Doctor::CheckContainers() {
    for (const Container& container : ReadPool("", core::LOCK_TIMEOUT_SECS).containers) {
        const Answer answer = AskEngine({"exec", container.name, "true"}, kAnswerLimit);
        if (answer.status != 0) {
            Add({container.name, false, "does not answer: " + answer.output,
                 "Start it, or take it out of the pool: vellumo pool remove " + container.name});
            continue;
        }
        // The tools are tried in whatever container is free; this is about each.
        const std::string health = HealthOf(container.name);
        if (health == kUnhealthy) {
            Add({container.name, false, "answers, and its health check fails",
                 "'docker inspect " + container.name +
                     "' shows what the check says; 'docker restart " + container.name +
                     "' starts it anew."});
        } else {
            Add({container.name, true, health.empty() ? "answers" : "answers, " + health, ""});
        }
    }
}

// A crash leaves a count behind, and the container then counts as busy for ever.
void Doctor::CheckCounts() {
    const std::vector<RunningCommand> running = RunningCommands();
    for (const Container& container : ReadPool("", core::LOCK_TIMEOUT_SECS).containers) {
        const bool runs = std::any_of(
            running.begin(), running.end(),
            [&container](const RunningCommand& one) { return one.container == container.name; });
        if (container.inUse > 0 && !runs) {
            Add({container.name, false, "counts as busy, and no command runs in it",
                 "If it stays so, set its count right: vellumo pool remove --force " +
                     container.name + " && vellumo pool add " + container.name});
        }
    }
}

void Doctor::CheckTools() {
    constexpr const char* kOffice = "libreoffice-writer, libreoffice-calc";
    const Canary canaries[] = {
        {"soffice", "report.odt", {Service::kPdf}, "%PDF", kOffice},
        {"unoconv", "report.odt", {Service::kPdf, "1-1"}, "%PDF", "unoconv, python3-uno"},
        {"unoconv, spreadsheets", "budget.xlsx", {Service::kPdf}, "%PDF", "unoconv, python3-uno"},
        {"pdftk", "brochure.pdf", {Service::kPdf, "1-1"}, "%PDF", "pdftk-java, qpdf"},
        {"convert", "brochure.pdf", {Service::kThumbnail}, "\x89PNG", "imagemagick, ghostscript"},
        {"ebook-convert", "book.epub", {Service::kPdf}, "%PDF", "calibre"},
        {"ebook-meta", "book.epub", {Service::kPdf, "1-1"}, "\xff\xd8\xff", "calibre"},
    };
    try {
        const CanaryFolder folder;
        for (const Canary& canary : canaries) {
            TryTool(canary, folder.SharePath());
        }
    } catch (const Failure& failure) {
        AddProblem("tools", failure.Reason());
    } catch (const fs::filesystem_error& error) {
        Add({"tools", false, error.what(), "Check the volume of the share docker."});
    }
}

void Doctor::TryTool(const Canary& canary, const std::string& folder) {
    const auto begin = std::chrono::steady_clock::now();
    const Document document = Resolve(folder + "/" + canary.document, "");
    Interrupts interrupts;
    Progress silent(Progress::Mode::kNone, 1);
    Worker worker(document, canary.assignment);
    const auto priority = IsLowPriority(canary.assignment)
                              ? core::ContainerPoolManager::PRIORITY_LOW
                              : core::ContainerPoolManager::PRIORITY_HIGH;
    const Ending ending = Watch(worker, priority, interrupts, silent);
    if (ending.kind == Ending::Kind::kDied) {
        AddProblem(canary.tool, ExplainDeath("", worker.Dismiss()));
        return;
    }
    if (ending.kind != Ending::Kind::kReported) {
        throw Failure(ExplainInterrupt("cannot examine the pool", ending.kind));
    }
    const std::string product = canary.assignment.service == Service::kThumbnail
                                    ? CachedProducts(document).PathOf(core::SZK_THUMB_TYPE)
                                    : ending.report.product;
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    if (ending.report.Succeeded() && BeginsWith(product, canary.beginning)) {
        Add({canary.tool, true,
             "converts " + std::string(canary.document) + " in " + Seconds(took.count()), ""});
        return;
    }
    Problem problem = ExplainResult(ending.report.result, "", canary.tool);
    problem.toolOutput = worker.ToolOutput();
    problem.next = "See that the tool is there and runs where the converters do (packages " +
                   std::string(canary.package) + ").";
    AddProblem(canary.tool, problem);
}

CommandResult ExaminePool(bool json) {
    Doctor doctor([json](const Finding& finding) {
        if (!json) {
            Print(finding);
        }
    });
    doctor.Examine();

    CommandResult result{ExitCode::kDone};
    result.json["findings"] = Json::Value(Json::arrayValue);
    size_t failed = 0;
    for (const Finding& finding : doctor.Findings()) {
        Json::Value entry(Json::objectValue);
        entry["subject"] = finding.subject;
        entry["ok"] = finding.sound;
        entry["detail"] = finding.detail;
        entry["remedy"] = finding.remedy;
        result.json["findings"].append(entry);
        failed += finding.sound ? 0U : 1U;
    }
    if (failed != 0) {
        const Problem problem{ExitCode::kPool,
                              "the pool is not sound",
                              Count(failed, "finding"),
                              "Do what the findings say, and call the doctor again.",
                              {}};
        result.code = problem.code;
        result.json["error"] = ToJson(problem);
    }
    if (!json) {
        std::cout << (failed == 0
                          ? "Everything is sound."
                          : Count(failed, "thing") + " to mend; call the doctor again then.")
                  << std::endl;
    }
    return result;
}

}  // namespace vellumo::cli
