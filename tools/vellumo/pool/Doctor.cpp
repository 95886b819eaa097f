// SPDX-License-Identifier: Apache-2.0
#include "pool/Doctor.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "app/Interrupts.h"
#include "app/Reasons.h"
#include "convert/Progress.h"
#include "loader/Text.h"
#include "loader/cache/KeptProducts.h"
#include "loader/conversion/Conversion.h"
#include "loader/pool/CanaryFolder.h"
#include "loader/pool/PoolState.h"
#include "loader/pool/Readiness.h"
#include "pool/PoolRepair.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {

// A sample document that tests one tool.
struct Doctor::Canary {
    const char* tool;
    const char* document;
    loader::Assignment assignment;
    const char* beginning;  // the first bytes of a good product
    const char* package;    // the tool's Debian packages
};

namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;
using Service = loader::Assignment::Service;

constexpr auto kAnswerLimit = std::chrono::seconds(20);

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

}  // namespace

void Print(const Finding& finding) {
    std::cout << (finding.sound ? "ok      " : "FAILED  ") << Printable(finding.subject) << ": "
              << Printable(finding.detail) << '\n';
    if (!finding.remedy.empty()) {
        std::cout << "        " << Printable(finding.remedy) << '\n';
    }
    std::cout << std::flush;
}

Json::Value ToJson(const std::vector<Finding>& findings) {
    Json::Value array(Json::arrayValue);
    for (const Finding& finding : findings) {
        Json::Value entry(Json::objectValue);
        entry["subject"] = finding.subject;
        entry["ok"] = finding.sound;
        entry["detail"] = finding.detail;
        entry["remedy"] = finding.remedy;
        array.append(entry);
    }
    return array;
}

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

// Runs `check`, which throws when something is wrong; `detail` is the finding when nothing is.
bool Doctor::Check(const std::string& subject, const std::string& detail,
                   const std::function<void()>& check) {
    if (const auto problem = ProblemOf(check)) {
        AddProblem(subject, *problem);
        return false;
    }
    Add({subject, true, detail, ""});
    return true;
}

void Doctor::Examine() {
    if (!CheckServerAndPool()) {
        return;
    }
    const std::unique_ptr<Engine> engine = CheckEngine();
    if (engine && CheckPoolSize()) {
        CheckContainers(*engine);
        CheckCounts(*engine);
        CheckTools();
    }
}

bool Doctor::CheckServerAndPool() {
    const bool rights =
        Check("rights", "the rights of root are available", [] { loader::CheckRights(""); });
    const bool server = rights && Check("server",
                                        "there is a share for scratch files and a client "
                                        "of a container engine",
                                        [] { loader::CheckServer(""); });
    Check("index of the cache", core::SZF_CACHE_DB_PATH, [] { loader::OpenCache(""); });
    return Check("state file", core::SZF_CONFIG_PATH,
                 [] { loader::ReadPool("", core::LOCK_TIMEOUT_SECS); }) &&
           server;
}

// Null when no engine answers.
std::unique_ptr<Engine> Doctor::CheckEngine() {
    FoundEngine found;
    const auto problem = ProblemOf([&found] {
        found = FindEngine();
        if (!found.engine) {
            found.engine = RequireEngine("");
        }
    });
    if (problem) {
        AddProblem("engine", *problem);
        return nullptr;
    }
    Add({"engine", true, found.version, ""});
    return std::move(found.engine);
}

bool Doctor::CheckPoolSize() {
    return Check("pool", "there are containers for all kinds of work",
                 [] { loader::CheckPool("", core::ContainerPoolManager::PRIORITY_LOW); });
}

void Doctor::CheckContainers(const Engine& engine) {
    for (const loader::Container& container :
         loader::ReadPool("", core::LOCK_TIMEOUT_SECS).containers) {
        const support::Answer answer =
            loader::AskEngine({"exec", container.name, "true"}, kAnswerLimit);
        if (answer.status != 0) {
            Add({container.name, false, "does not answer: " + answer.output,
                 "Start it ('vellumo pool up' starts those that it created), or take it out of the "
                 "pool: vellumo pool remove " +
                     container.name});
            continue;
        }
        // CheckTools uses any free container; only this looks at every one.
        const std::string health = engine.HealthOf(container.name);
        if (health == Engine::kUnhealthy) {
            Add({container.name, false, "answers, but its health check fails",
                 "'docker inspect " + container.name +
                     "' shows the output of the check; 'docker restart " + container.name +
                     "' restarts it."});
            continue;
        }
        const std::string answers = health.empty() ? "answers" : "answers, " + health;
        const std::string cold = engine.WhyCold(container.name);
        if (cold.empty()) {
            Add({container.name, true, answers, ""});
        } else {
            Add({container.name, true, answers + ", but each document gets an office of its own",
                 "That takes longer. The reason: " + cold});
        }
    }
}

// The count of a killed process is given back by whoever comes next. Only one that has no lease, of
// a program that makes none, stays and keeps its container for ever.
void Doctor::CheckCounts(const Engine& engine) {
    for (const auto& [container, used] : IdleThoughBusy(engine)) {
        Add({container, false, "counts as busy, and no command runs in it",
             "'vellumo pool up' corrects the count."});
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
        const auto problem = ProblemOf([&] {
            const loader::CanaryFolder folder(
                VELLUMO_CANARIES, {"report.odt", "budget.xlsx", "brochure.pdf", "book.epub"});
            for (const Canary& canary : canaries) {
                TryTool(canary, folder.SharePath());
            }
        });
        if (problem) {
            AddProblem("tools", *problem);
        }
    } catch (const fs::filesystem_error& error) {
        Add({"tools", false, error.what(), "Check the volume of the share docker."});
    }
}

// Adds a finding about the tool. Throws Failure only for an interrupt, to end the tests.
void Doctor::TryTool(const Canary& canary, const std::string& folder) {
    const auto begin = std::chrono::steady_clock::now();
    auto problem = ProblemOf([&] { Convert(canary, folder); });
    if (!problem) {
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        Add({canary.tool, true,
             "converts " + std::string(canary.document) + " in " + Seconds(took.count()), ""});
        return;
    }
    if (problem->code == ExitCode::kInterrupted) {
        problem->what = "cannot examine the pool";
        throw Failure(*problem);
    }
    problem->next = "See that the tool is there and runs where the converters do (packages " +
                    std::string(canary.package) + ").";
    AddProblem(canary.tool, *problem);
}

// Throws Failure when the tool makes no usable product.
void Doctor::Convert(const Canary& canary, const std::string& folder) {
    const loader::Document document = loader::Resolve(folder + "/" + canary.document, "");
    Interrupts interrupts;
    Progress silent(Progress::Mode::kNone, 1);
    loader::Conversion conversion(document, canary.assignment);
    const bool isGood = BeginsWith(conversion.Run(interrupts, silent), canary.beginning);
    // A thumbnail is kept, which nobody needs of a sample.
    loader::KeptProducts(document).RemoveAll(*loader::OpenCache(""));
    if (!isGood) {
        throw Failure({ExitCode::kToolFailed,
                       "",
                       std::string("the tool (") + canary.tool + ") made no usable product",
                       "",
                       {}});
    }
}

CommandResult ExaminePool(bool json) {
    Doctor doctor([json](const Finding& finding) {
        if (!json) {
            Print(finding);
        }
    });
    doctor.Examine();

    CommandResult result{ExitCode::kDone};
    result.json["findings"] = ToJson(doctor.Findings());
    const auto failed =
        static_cast<size_t>(std::count_if(doctor.Findings().begin(), doctor.Findings().end(),
                                          [](const Finding& finding) { return !finding.sound; }));
    if (failed != 0) {
        const Problem problem{ExitCode::kPool,
                              "the pool is not sound",
                              loader::Count(failed, "check") + " failed",
                              "Follow the remedies, then run 'vellumo pool doctor' again.",
                              {}};
        result.FailWith(problem);
    }
    if (!json) {
        std::cout << (failed == 0 ? "Everything is sound."
                                  : loader::Count(failed, "thing") +
                                        " to mend; then run 'vellumo pool doctor' again.")
                  << std::endl;
    }
    return result;
}

}  // namespace vellumo::cli
