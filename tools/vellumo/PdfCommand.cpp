// SPDX-License-Identifier: Apache-2.0
#include "PdfCommand.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "Conversion.h"
#include "Interrupts.h"
#include "PoolState.h"
#include "Worker.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr const char* kDocker = "/usr/local/bin/docker";
constexpr size_t kContainersForPages = 2;
constexpr size_t kLargestPageLength = 9;
constexpr int kResultSuccess = 1000;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo pdf /docs/report.docx                 makes ./report.pdf\n"
    "  vellumo pdf /docs/a.xlsx /docs/b.odp -o out/  makes out/a.pdf and out/b.pdf\n"
    "  vellumo pdf /home/notes.odt --user ann        a document in ann's home\n"
    "  vellumo pdf /docs/report.docx --pages 1-3     its first three pages\n"
    "  vellumo pdf /docs/novel.epub --pages 1        its cover: ./novel.jpg\n"
    "A share path is what users of the server see: '/', the share's name, the path in it.\n"
    "Every conversion waits for a free container ('vellumo pool' shows them) and may then take\n"
    "120 seconds. Page ranges are work of low priority, which the first container never takes.\n"
    "\nDocument types: ";

std::string TypesInLines() {
    std::string text;
    size_t column = sizeof("Document types:");
    for (const std::string& type : SupportedTypes()) {
        if (column + type.size() > 85) {
            text += "\n  ";
            column = 2;
        }
        text += type + " ";
        column += type.size() + 1;
    }
    return text;
}

bool IsPageNumber(const std::string& text) {
    return !text.empty() && text.size() <= kLargestPageLength && text.front() != '0' &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

// The forms that all tools understand alike: one page, or the first and the last.
bool IsPageRange(const std::string& text) {
    const size_t dash = text.find('-');
    const std::string first = text.substr(0, dash);
    const std::string last = dash == std::string::npos ? first : text.substr(dash + 1);
    return IsPageNumber(first) && IsPageNumber(last) && std::stol(first) <= std::stol(last);
}

// The text that CLI11 wants: "" for a page range.
std::string CheckPageRange(const std::string& text) {
    return IsPageRange(text)
               ? ""
               : "'" + text +
                     "' is no page range; write one page (3) or the first and the last "
                     "(1-3), counted from 1";
}

// The library asks for root's ids on its way, and cannot do without.
bool MayBecomeRoot() {
    uid_t real = 0;
    uid_t effective = 0;
    uid_t saved = 0;
    getresuid(&real, &effective, &saved);
    return real == 0 || effective == 0 || saved == 0;
}

struct Advice {
    ExitCode code;
    const char* why;
    const char* next;
};

constexpr Advice kAdvice[] = {
    {ExitCode::kTimeLimit, "reached its limit of 120 seconds and was ended",
     "Try a part of the document, as in --pages 1-10."},
    {ExitCode::kToolFailed, "made no usable product",
     "The document may be damaged, protected by a password, or not of the type that its name "
     "says: open it with its own program."},
    {ExitCode::kNotPrepared, "was not reached: the conversion could not be prepared",
     "The system log has the reason: journalctl -t vellumo."},
};

Problem ExplainResult(int result, const std::string& what, const std::string& tool) {
    const ExitCode code = FromResult(result);
    for (const Advice& advice : kAdvice) {
        if (advice.code == code) {
            return {code, what, "the tool (" + tool + ") " + advice.why, advice.next, {}};
        }
    }
    return {code,
            what,
            "the library answered " + std::to_string(result),
            "The system log may tell more: journalctl -t vellumo.",
            {}};
}

std::string DescribeDeath(int status) {
    return WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                               : "ended with status " + std::to_string(WEXITSTATUS(status));
}

Problem ExplainDeath(const std::string& what, int status) {
    return {ExitCode::kFailed,
            what,
            "its worker process " + DescribeDeath(status),
            "If 'vellumo pool' shows a container in use though nothing runs, remove it with "
            "--force and add it again.",
            {}};
}

struct InterruptMeaning {
    Ending::Kind kind;
    const char* why;
    const char* next;
};

constexpr InterruptMeaning kInterrupts[] = {
    {Ending::Kind::kStopped, "interrupted", ""},
    {Ending::Kind::kLeftBehind, "interrupted while it waited for a slot",
     "Its request stays queued and is dropped when its turn comes; 'vellumo pool' shows the "
     "queue."},
    {Ending::Kind::kAbandoned, "interrupted while it waited for a slot",
     "If 'vellumo pool' goes on showing its request, 'vellumo pool reset --yes' empties the "
     "queue."},
};

Problem ExplainInterrupt(const std::string& what, Ending::Kind kind) {
    const auto* meaning =
        std::find_if(std::begin(kInterrupts), std::end(kInterrupts),
                     [kind](const InterruptMeaning& candidate) { return candidate.kind == kind; });
    return {ExitCode::kInterrupted, what, meaning->why, meaning->next, {}};
}

double SecondsSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

PdfCommand::PdfCommand(CLI::App& app)
    : Command(app.add_subcommand("pdf", "Convert documents into PDFs")), _user(InvokingUser()) {
    Arguments()->footer(kExamples + TypesInLines());
    AddOptions();
}

void PdfCommand::AddOptions() {
    Arguments()
        ->add_option("SHARE_PATH", _sharePaths, "The documents, as in /docs/report.docx")
        ->required()
        ->option_text("...");
    Arguments()
        ->add_option("--user", _user, "Whose home /home/... is; default: your own")
        ->option_text("NAME");
    Arguments()
        ->add_option("--pages", _pages, "These pages only: 3 or 1-3; an e-book gives its cover")
        ->check(CheckPageRange)
        ->option_text("RANGE");
    Arguments()
        ->add_option("-o,--output", _output, "Where the PDF goes; default: the current directory")
        ->option_text("FILE|DIR");
    Arguments()->add_flag("--force", _force, "Replace an output that exists already");
    Arguments()->add_flag("-q,--quiet", _quiet, "Print nothing but failures");
    Arguments()
        ->add_option("--progress", _progress, "Progress: auto (on a terminal), plain (lines), none")
        ->check(CLI::IsMember({"auto", "plain", "none"}))
        ->option_text("MODE");
}

core::ContainerPoolManager::Priority PdfCommand::Priority() const {
    return _pages ? core::ContainerPoolManager::PRIORITY_LOW
                  : core::ContainerPoolManager::PRIORITY_HIGH;
}

const Way& PdfCommand::WayFor(const Document& document) const {
    return _pages ? document.family->pages : document.family->whole;
}

CommandResult PdfCommand::Run(bool json) {
    _json = json;
    PrepareJobs();
    if (HasWork()) {
        try {
            CheckServer();
            CheckPool();
            ConvertJobs();
        } catch (const Failure& failure) {
            Tell(failure.Reason());
            FailAllOpen(failure.Reason());
        }
    }
    TellSummary();
    return Result();
}

// Does `step` for every job that has not failed yet; one that fails there is told about.
void PdfCommand::ForEachOpenJob(const std::function<void(Job&)>& step) {
    for (Job& job : _jobs) {
        if (job.problem) {
            continue;
        }
        try {
            step(job);
        } catch (const Failure& failure) {
            job.problem = failure.Reason();
            Tell(*job.problem);
        }
    }
}

void PdfCommand::PrepareJobs() {
    const OutputPlace place(_output, _sharePaths.size());
    for (const std::string& sharePath : _sharePaths) {
        _jobs.push_back({sharePath, {}, "", {}});
    }
    ForEachOpenJob([this](Job& job) {
        job.document = Resolve(job.sharePath, _user);
        CheckConvertible(*job.document);
    });
    ForEachOpenJob([this, &place](Job& job) {
        const std::string path = place.PathFor(*job.document, WayFor(*job.document).targetType);
        CheckAgainstJobs(path);
        CheckOutput(path, _force);
        job.output = path;
    });
}

// Whatever --force says, no document of this call is replaced, nor a product of it.
void PdfCommand::CheckAgainstJobs(const std::string& path) const {
    const auto refuse = [&path](const std::string& why) {
        throw Failure(
            {ExitCode::kOutput, "cannot write " + path, why, "Choose another place with -o.", {}});
    };
    for (const Job& job : _jobs) {
        if (job.output == path) {
            refuse("it is the output of " + job.sharePath + " already");
        }
        if (job.document && IsSameFile(path, job.document->realPath)) {
            refuse("it is the document " + job.sharePath + ", which is never changed");
        }
    }
}

// What fails when nothing at all can be converted.
std::string PdfCommand::What() const {
    return "cannot convert " +
           (_jobs.size() == 1 ? _jobs.front().sharePath : Count(_jobs.size(), "document"));
}

void PdfCommand::FailPreparation(const std::string& why, const std::string& next,
                                 ExitCode code) const {
    throw Failure({code, What(), why, next, {}});
}

void PdfCommand::CheckServer() const {
    if (!MayBecomeRoot()) {
        FailPreparation("this needs the rights of root",
                        "Run it with sudo, or in a device view, where you are root.");
    }
    std::string volume;
    if (!core::VolumePathGet(core::SZF_DOCKER_DIR, volume)) {
        FailPreparation("there is no share 'docker' for the scratch files",
                        "Add a section [docker] with its path to /etc/samba/smb.conf.");
    }
    if (access(kDocker, X_OK) != 0) {
        FailPreparation(std::string("there is no container engine at ") + kDocker,
                        "Install the engine's client there, or run the command in a device view.");
    }
}

void PdfCommand::CheckPool() const {
    const PoolState pool = ReadPool(What(), core::LOCK_TIMEOUT_SECS);
    if (pool.containers.empty()) {
        FailPreparation("no container is registered, so nothing could ever run",
                        "Register the converter containers: vellumo pool add navo1 navo2.",
                        ExitCode::kPool);
    }
    if (_pages && pool.containers.size() < kContainersForPages) {
        FailPreparation(
            "page ranges are work of low priority, which the first container by name "
            "(" +
                pool.containers.front().name + ", the only one) never takes",
            "Register a second container ('vellumo pool add navo2'), or convert the "
            "whole document without --pages.",
            ExitCode::kPool);
    }
}

bool PdfCommand::HasWork() const {
    return std::any_of(_jobs.begin(), _jobs.end(),
                       [](const Job& job) { return !job.problem.has_value(); });
}

void PdfCommand::FailAllOpen(const Problem& problem) {
    for (Job& job : _jobs) {
        if (!job.done && !job.problem) {
            job.problem = problem;
        }
    }
}

void PdfCommand::ConvertJobs() {
    Interrupts interrupts;
    Progress progress(ProgressMode(), _jobs.size());
    size_t number = 0;
    for (Job& job : _jobs) {
        ++number;
        if (job.problem) {
            continue;
        }
        progress.Begin(number, job.sharePath);
        TryJob(job, interrupts, progress);
        if (job.problem && job.problem->code == ExitCode::kInterrupted) {
            FailAllOpen(
                {ExitCode::kInterrupted, "not converted", "interrupted before its turn", "", {}});
        }
    }
}

void PdfCommand::TryJob(Job& job, Interrupts& interrupts, Progress& progress) const {
    const auto begin = std::chrono::steady_clock::now();
    try {
        ConvertJob(job, interrupts, progress);
        job.done = true;
    } catch (const Failure& failure) {
        job.problem = failure.Reason();
    }
    job.seconds = SecondsSince(begin);
    progress.Clear();
    if (job.done) {
        TellDone(job);
    } else {
        Tell(*job.problem);
    }
}

void PdfCommand::ConvertJob(Job& job, Interrupts& interrupts, Progress& progress) const {
    const std::string what = "cannot convert " + job.sharePath;
    Worker worker(*job.document, Pages());
    const Ending ending = Watch(worker, Priority(), interrupts, progress);
    if (ending.kind == Ending::Kind::kReported) {
        Finish(job, ending.report, worker);
        return;
    }
    throw Failure(ending.kind == Ending::Kind::kDied ? ExplainDeath(what, worker.Dismiss())
                                                     : ExplainInterrupt(what, ending.kind));
}

void PdfCommand::Finish(Job& job, const WorkerReport& report, const Worker& worker) const {
    if (report.result == kResultSuccess) {
        HandOver(report.product, job.output, _force);
        return;
    }
    Problem problem =
        ExplainResult(report.result, "cannot convert " + job.sharePath, WayFor(*job.document).tool);
    problem.toolOutput = worker.ToolOutput();
    throw Failure(std::move(problem));
}

Progress::Mode PdfCommand::ProgressMode() const {
    if (_quiet || _progress == "none") {
        return Progress::Mode::kNone;
    }
    if (_progress == "plain") {
        return Progress::Mode::kPlain;
    }
    return isatty(STDERR_FILENO) == 1 ? Progress::Mode::kLine : Progress::Mode::kNone;
}

void PdfCommand::Tell(const Problem& problem) const {
    if (!_json) {
        std::cout.flush();
        Print(std::cerr, problem);
    }
}

void PdfCommand::TellDone(const Job& job) const {
    if (!_json && !_quiet) {
        std::cout << Printable(job.sharePath) << " -> " << Printable(job.output) << " ("
                  << std::fixed << std::setprecision(1) << job.seconds << " s)" << std::endl;
    }
}

void PdfCommand::TellSummary() const {
    if (_json || _quiet || _jobs.size() < 2) {
        return;
    }
    size_t done = 0;
    for (const Job& job : _jobs) {
        done += job.done ? 1 : 0;
    }
    std::cout << done << " of " << Count(_jobs.size(), "document") << " converted" << std::endl;
}

CommandResult PdfCommand::Result() const {
    CommandResult result{ExitCode::kDone, Json::Value(Json::objectValue)};
    Json::Value& json = result.json;
    json["results"] = Json::Value(Json::arrayValue);
    json["total"] = Json::UInt64{_jobs.size()};
    Json::UInt64 converted = 0;
    for (const Job& job : _jobs) {
        Json::Value entry(Json::objectValue);
        entry["source"] = job.sharePath;
        entry["ok"] = job.done;
        entry["output"] = job.done ? Json::Value(job.output) : Json::Value();
        entry["seconds"] = job.seconds;
        converted += job.done ? 1 : 0;
        if (job.problem) {
            entry["error"] = ToJson(*job.problem);
            const bool first = result.code == ExitCode::kDone;
            if (first || job.problem->code == ExitCode::kInterrupted) {
                result.code = job.problem->code;
                json["error"] = entry["error"];
            }
        }
        json["results"].append(entry);
    }
    json["converted"] = converted;
    return result;
}

}  // namespace vellumo::cli
