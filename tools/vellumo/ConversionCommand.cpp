// SPDX-License-Identifier: Apache-2.0
#include "ConversionCommand.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <iostream>

#include "CachedProducts.h"
#include "Explanations.h"
#include "Folder.h"
#include "Report.h"
#include "ServerCheck.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
using Clock = std::chrono::steady_clock;
using Service = Assignment::Service;

double SecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

}  // namespace

ConversionCommand::ConversionCommand(CLI::App* arguments, const std::string& outputNote)
    : Command(arguments), _user(InvokingUser()) {
    AddOptions(outputNote);
}

void ConversionCommand::AddOptions(const std::string& outputNote) {
    Arguments()
        ->add_option("SHARE_PATH", _sharePaths, "The documents, as in /docs/report.docx")
        ->required()
        ->option_text("...");
    Arguments()
        ->add_option("--user", _user, "Whose home /home/... is; default: your own")
        ->option_text("NAME");
    CLI::Option* output =
        Arguments()
            ->add_option("-o,--output", _output, "Where the product goes; default: " + outputNote)
            ->option_text("FILE|DIR");
    Arguments()
        ->add_flag("-r,--recursive", _recursive,
                   "Whole folders: keep a product beside each document in them")
        ->excludes(output);
    Arguments()->add_flag("--refresh", _refresh, "Convert also what is fresh or has failed before");
    Arguments()->add_flag("--force", _force, "Replace an output that exists already");
    Arguments()->add_flag("-q,--quiet", _quiet, "Print nothing but failures");
    Arguments()
        ->add_option("--progress", _progress, "Progress: auto (on a terminal), plain (lines), none")
        ->check(CLI::IsMember({"auto", "plain", "none"}))
        ->option_text("MODE");
}

core::ContainerPoolManager::Priority ConversionCommand::Priority() const {
    const Assignment task = Task();
    return task.service == Service::kThumbnail || task.pages != nullptr
               ? core::ContainerPoolManager::PRIORITY_LOW
               : core::ContainerPoolManager::PRIORITY_HIGH;
}

// What fails when nothing at all can be converted.
std::string ConversionCommand::What() const {
    return _jobs.size() == 1 ? What(_jobs.front())
                             : "cannot convert " + Count(_jobs.size(), "document");
}

CommandResult ConversionCommand::Run(bool json) {
    _json = json;
    CollectJobs();
    ResolveJobs();
    PlaceOutputs();
    try {
        Work();
    } catch (const Failure& failure) {
        Tell(failure.Reason());
        FailAllOpen(failure.Reason());
    }
    TellSummary();
    return ResultOf(_jobs);
}

void ConversionCommand::AddJob(const std::string& sharePath) {
    _jobs.emplace_back();
    _jobs.back().sharePath = sharePath;
}

void ConversionCommand::CollectJobs() {
    for (const std::string& sharePath : _sharePaths) {
        if (!_recursive) {
            AddJob(sharePath);
            continue;
        }
        try {
            AddFolder(Resolve(sharePath, _user));
        } catch (const Failure& failure) {
            AddJob(sharePath);
            _jobs.back().Fail(failure.Reason());
        }
    }
}

// `folder` may be a document as well.
void ConversionCommand::AddFolder(const Document& folder) {
    if (!IsFolder(folder)) {
        AddJob(folder.sharePath);
        return;
    }
    const FolderContents contents = ContentsOf(folder);
    for (const std::string& document : contents.documents) {
        AddJob(document);
    }
    for (const Problem& problem : contents.unreadable) {
        AddJob(folder.sharePath);
        _jobs.back().Fail(problem);
    }
}

// Does `step` for every job that is still to be done; one whose step fails has failed.
void ConversionCommand::ForEachOpenJob(const std::function<void(Job&)>& step) {
    for (Job& job : _jobs) {
        if (!job.IsOpen()) {
            continue;
        }
        try {
            step(job);
        } catch (const Failure& failure) {
            job.Fail(failure.Reason());
        }
    }
}

void ConversionCommand::ResolveJobs() {
    ForEachOpenJob([this](Job& job) {
        job.document = Resolve(job.sharePath, _user);
        CheckConvertible(*job.document);
    });
}

void ConversionCommand::PlaceOutputs() {
    if (!HandsOver()) {
        return;
    }
    const OutputPlace place(_output, _jobs.size());
    ForEachOpenJob([this, &place](Job& job) {
        const std::string path = place.PathFor(*job.document, OutputType(*job.document));
        CheckAgainstJobs(path);
        CheckOutput(path, _force);
        job.output = path;
    });
}

// Whatever --force says, no document of this call is replaced, nor a product of it.
void ConversionCommand::CheckAgainstJobs(const std::string& path) const {
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

bool ConversionCommand::HasWork() const {
    return std::any_of(_jobs.begin(), _jobs.end(), [](const Job& job) { return job.IsOpen(); });
}

void ConversionCommand::Work() {
    if (!HasWork()) {
        return;
    }
    CheckRights(What());
    TakeFromCache();
    if (!HasWork()) {
        return;
    }
    CheckServer(What());
    CheckPool(What(), Priority());
    ConvertJobs();
}

void ConversionCommand::TakeFromCache() {
    if (Stream() == nullptr) {
        return;
    }
    const auto cache = OpenCache(What());
    if (!_refresh) {
        ForEachOpenJob([this, &cache](Job& job) { TakeFromCache(job, *cache); });
    }
}

void ConversionCommand::TakeFromCache(Job& job, core::CacheManager& cache) const {
    const CachedProducts products(*job.document);
    if (!products.IsFresh(Stream(), cache)) {
        if (const std::optional<Problem> reason = ReasonToSkip(job)) {
            throw Failure(*reason);
        }
        return;
    }
    if (HandsOver()) {
        std::ifstream noteTheAccess;
        cache.Get(job.document->realPath, Stream(), noteTheAccess);
    }
    DeliverKept(job);
    job.state = Job::State::kFresh;
    if (!_recursive) {
        TellDone(job);
    }
}

void ConversionCommand::DeliverKept(Job& job) const {
    job.kept = CachedProducts(*job.document).PathOf(Stream());
    if (access(job.kept.c_str(), F_OK) != 0) {
        throw Failure(ExplainNothingKept(What(job)));
    }
    if (HandsOver()) {
        HandOver(job.kept, job.output, Transfer::kCopy, _force);
    }
}

void ConversionCommand::FailAllOpen(const Problem& problem) {
    for (Job& job : _jobs) {
        if (job.IsOpen()) {
            job.Fail(problem);
            job.state = Job::State::kNotTried;
        }
    }
}

void ConversionCommand::ConvertJobs() {
    Interrupts interrupts;
    Progress progress(ProgressMode(), _jobs.size());
    const auto begin = Clock::now();
    const Tally begun = Tally::Of(_jobs);
    Tally tally = begun;
    for (Job& job : _jobs) {
        if (!job.IsOpen()) {
            continue;
        }
        progress.Begin(tally.Ended() + 1, job.sharePath, Pace(begun, tally, SecondsSince(begin)));
        TryJob(job, interrupts, progress);
        tally.Add(job.state);
        if (job.problem && job.problem->code == ExitCode::kInterrupted) {
            FailAllOpen(
                {ExitCode::kInterrupted, "not converted", "interrupted before its turn", "", {}});
        }
    }
}

void ConversionCommand::TryJob(Job& job, Interrupts& interrupts, Progress& progress) const {
    const auto begin = Clock::now();
    try {
        ConvertJob(job, interrupts, progress);
        job.state = Job::State::kConverted;
    } catch (const Failure& failure) {
        job.Fail(failure.Reason());
    }
    job.seconds = SecondsSince(begin);
    progress.Clear();
    if (job.IsDone()) {
        TellDone(job);
    }
}

void ConversionCommand::ConvertJob(Job& job, Interrupts& interrupts, Progress& progress) const {
    if (Stream() != nullptr) {
        // Closed again before the worker is made: SQLite's connections do not survive a fork.
        MakeReadyToKeep(job);
    }
    Worker worker(*job.document, Task());
    const Ending ending = Watch(worker, Priority(), interrupts, progress);
    if (ending.kind == Ending::Kind::kReported) {
        Finish(job, ending.report, worker);
        return;
    }
    if (ending.kind == Ending::Kind::kStopped) {
        TidyAfterStop(job);
    }
    throw Failure(ending.kind == Ending::Kind::kDied ? ExplainDeath(What(job), worker.Dismiss())
                                                     : ExplainInterrupt(What(job), ending.kind));
}

void ConversionCommand::MakeReadyToKeep(const Job& job) const {
    CachedProducts(*job.document).RemoveStale(*OpenCache(What(job)));
    std::string path;
    if (!core::CacheManager::GetEAPath(job.document->realPath, Stream(), path)) {
        throw Failure({ExitCode::kOutput,
                       What(job),
                       "nothing can be kept beside the document: its directory " +
                           job.document->eaDirectory + " cannot be made",
                       "Check the volume's free space and whether it may be written to, or bring a "
                       "PDF elsewhere with 'vellumo pdf --no-cache -o'.",
                       {}});
    }
}

void ConversionCommand::Finish(Job& job, const WorkerReport& report, const Worker& worker) const {
    if (!report.Succeeded()) {
        Problem problem = ExplainResult(report.result, What(job), ToolsFor(*job.document));
        problem.toolOutput = worker.ToolOutput();
        throw Failure(std::move(problem));
    }
    if (Stream() != nullptr) {
        DeliverKept(job);
    } else {
        HandOver(report.product, job.output, Transfer::kMove, _force);
    }
}

Progress::Mode ConversionCommand::ProgressMode() const {
    if (_quiet || _progress == "none") {
        return Progress::Mode::kNone;
    }
    if (_progress == "plain") {
        return Progress::Mode::kPlain;
    }
    return isatty(STDERR_FILENO) == 1 ? Progress::Mode::kLine : Progress::Mode::kNone;
}

void ConversionCommand::Tell(const Problem& problem) const {
    if (!_json) {
        std::cout.flush();
        Print(std::cerr, problem);
    }
}

void ConversionCommand::TellDone(const Job& job) const {
    if (_json || _quiet) {
        return;
    }
    std::cout << Printable(job.sharePath) << " -> "
              << Printable(job.output.empty() ? job.kept : job.output) << " (";
    if (job.state == Job::State::kConverted) {
        std::cout << std::fixed << std::setprecision(1) << job.seconds << " s)" << std::endl;
    } else {
        std::cout << "from the cache)" << std::endl;
    }
}

// The failures come last, where they are seen also after many documents.
void ConversionCommand::TellSummary() const {
    for (const Job& job : _jobs) {
        if (job.state == Job::State::kFailed) {
            Tell(*job.problem);
        }
    }
    if (_json || _quiet || (!_recursive && _jobs.size() < 2)) {
        return;
    }
    std::cout << (_jobs.empty() ? "No document that a converter takes lies there."
                                : Summary(Tally::Of(_jobs)))
              << std::endl;
}

}  // namespace vellumo::cli
