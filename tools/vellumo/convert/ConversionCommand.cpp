// SPDX-License-Identifier: Apache-2.0
#include "convert/ConversionCommand.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <iostream>

#include "app/InvokingUser.h"
#include "app/Reasons.h"
#include "convert/OutputFile.h"
#include "convert/Report.h"
#include "convert/RunningJobs.h"
#include "convert/TakenPlaces.h"
#include "loader/Text.h"
#include "loader/cache/KeptProducts.h"
#include "loader/conversion/Conversion.h"
#include "loader/conversion/Endings.h"
#include "loader/pool/Readiness.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

// After this time, folders need not be listed completely before the first conversion starts. Most
// are, and then all of their documents are converted in the best order.
constexpr auto kHeadStart = std::chrono::milliseconds(300);
constexpr auto kExploreSlice = std::chrono::milliseconds(100);

}  // namespace

ConversionCommand::ConversionCommand(CLI::App* arguments, const std::string& outputNote)
    : Command(arguments), _user(InvokingUser()) {
    AddOptions(outputNote);
}

void ConversionCommand::AddOptions(const std::string& outputNote) {
    Arguments()
        ->add_option("SHARE_PATH", _sharePaths,
                     "Documents, as in /docs/report.docx; with -r also folders")
        ->required()
        ->option_text("...");
    Arguments()
        ->add_option("--user", _user, "The user whose home folder /home means; default: you")
        ->option_text("NAME");
    CLI::Option* output = Arguments()
                              ->add_option("-o,--output", _output,
                                           "Where to write the product; default: " + outputNote)
                              ->option_text("FILE|DIR");
    CLI::Option* recursive =
        Arguments()
            ->add_flag(
                "-r,--recursive", _recursive,
                "Convert every document in the folders and below them, and keep each\n"
                "product beside its document only: small documents first, several at once.\n"
                "Skips hidden names (as .recycle and .~lock.NAME#), symbolic links, owner files\n"
                "(~$NAME), '#recycle', and names that begin with '@'. Not with -o")
            ->excludes(output)
            ->option_text(" ");
    _folders.AddTo(*Arguments(), recursive);
    Arguments()
        ->add_flag("--refresh", _refresh, "Convert again what is in the cache or has failed before")
        ->option_text(" ");
    Arguments()->add_flag("--force", _force, "Overwrite an existing output file");
    Arguments()->add_flag("-q,--quiet", _quiet, "Print failures only");
    Arguments()
        ->add_option("--progress", _progress,
                     "Show progress on the standard error: auto (on a terminal),\n"
                     "plain (as lines) or none; default: auto")
        ->check(CLI::IsMember({"auto", "plain", "none"}))
        ->option_text("MODE");
}

// Problem::what for a failure that stops all jobs.
std::string ConversionCommand::What() const {
    const Jobs& jobs = _jobs.All();
    if (_recursive) {
        return "cannot convert the documents";
    }
    return jobs.size() == 1 ? What(jobs.front())
                            : "cannot convert " + loader::Count(jobs.size(), "document");
}

CommandResult ConversionCommand::Run(bool json) {
    _json = json;
    if (!_folders.Report().empty()) {
        _failures.emplace(_folders.Report());
        _jobs.TellFailures([this](const Job& job) { NoteFailure(job); });
    }
    CollectJobs();
    if (const auto problem = ProblemOf([this] { Work(); })) {
        Tell(*problem);
        _jobs.GiveUp(*problem);
        _ending = problem;
    }
    _jobs.Sort();
    TellSummary();
    return Result();
}

// A folder run can fail, or reach its time limit, before it knows a single document.
CommandResult ConversionCommand::Result() const {
    CommandResult result = ResultOf(_jobs.All());
    result.json["warnings"] = _warnings;
    for (const auto& problem : {_ending, _reportProblem}) {
        if (result.code == ExitCode::kDone && problem) {
            result.FailWith(*problem);
        }
    }
    return result;
}

void ConversionCommand::CollectJobs() {
    if (_recursive) {
        _jobs.AddFolders(_sharePaths, _user, _folders.Filter());
        return;
    }
    _jobs.Add(_sharePaths);
    _jobs.Resolve(_user);
    PlaceOutputs();
}

void ConversionCommand::PlaceOutputs() {
    if (!HandsOver()) {
        return;
    }
    const OutputPlace place(_output, _jobs.All().size());
    TakenPlaces taken(_jobs.All());
    _jobs.ForEachOpen([&](Job& job) {
        const std::string path = place.PathFor(*job.document, OutputType(*job.document));
        taken.Take(path, job);
        CheckOutput(path, _force);
        job.output = path;
    });
}

void ConversionCommand::Work() {
    if (!_recursive && !_jobs.HasOpen()) {
        return;
    }
    loader::CheckRights(What());
    if (Task().service == loader::Assignment::Service::kCachedPdf) {
        _cacheLimit.emplace([this](const Problem& problem) { Warn(problem); });
    }
    ReadFailures();
    Interrupts interrupts;
    if (_recursive) {
        FindFirstJob(interrupts);
    } else {
        TakeFromCache();
        _jobs.MakeReady();
    }
    if (!_jobs.HasReady()) {
        return;
    }
    if (_folders.IsDryRun()) {
        Plan(interrupts);
        return;
    }
    loader::CheckServer(What());
    const size_t slots = loader::CheckPool(What(), Task().Priority());
    ConvertJobs(AtOnce(slots), interrupts);
}

// The containers that can take such jobs; more workers would only wait for them.
size_t ConversionCommand::AtOnce(size_t slots) const {
    if (!_recursive) {
        return 1;
    }
    return _folders.Jobs() != 0 ? _folders.Jobs() : std::max<size_t>(slots, 1);
}

// Reads all at once: a query for each of a hundred thousand documents would take longer. Without
// the memory, everything is tried.
void ConversionCommand::ReadFailures() {
    if (_refresh || Task().Stream() == nullptr) {
        return;
    }
    if (const auto problem =
            ProblemOf([this] { _failedBefore = loader::FailureMemory().Read(); })) {
        Warn(*problem);
    }
}

// Who names a document wants to see its thumbnail tried, although another program has marked it.
void ConversionCommand::CheckWorthTrying(const loader::Document& document) const {
    const auto marks = _recursive ? loader::Marks::kCount : loader::Marks::kIgnored;
    if (const auto obstacle = _failedBefore.Obstacle(document, loader::ProductOf(Task()),
                                                     std::time(nullptr), marks)) {
        throw loader::Failure(*obstacle);
    }
}

void ConversionCommand::FindFirstJob(Interrupts& interrupts) {
    loader::OpenCache(What());  // whatever is wrong with it concerns all jobs
    _jobs.List(kHeadStart);
    while (!_jobs.HasReady() && GoesOnExploring(interrupts)) {
    }
}

bool ConversionCommand::GoesOnExploring(Interrupts& interrupts) {
    if (interrupts.Take()) {
        GiveUpAfter(ConversionRun::End::kStopped);
        return false;
    }
    return Explore(kExploreSlice);
}

// Closes the cache again each time: its connection must not cross the fork of a worker.
bool ConversionCommand::Explore(std::chrono::milliseconds limit) {
    std::unique_ptr<core::CacheManager> cache;
    const bool goesOn = _jobs.Explore(limit, [&](Job& job) {
        if (_refresh) {
            return;
        }
        if (!cache) {
            cache = loader::OpenCache(What());
        }
        Examine(job, *cache);
    });
    if (!goesOn && _cacheLimit) {
        _cacheLimit->CheckRoomFor(_jobs.All());
    }
    return goesOn;
}

void ConversionCommand::Examine(Job& job, core::CacheManager& cache) const {
    loader::Document document{};
    document.realPath = job.realPath;
    const loader::KeptProducts kept(document);
    if (!kept.IsFresh(Task().Stream(), cache)) {
        document.sharePath = job.sharePath;
        CheckWorthTrying(document);
        return;
    }
    job.kept = kept.PathOf(Task().Stream());
    job.state = Job::State::kFresh;
}

// Shows what would be converted.
void ConversionCommand::Plan(Interrupts& interrupts) {
    while (GoesOnExploring(interrupts)) {
    }
    if (_ending) {
        return;
    }
    while (Job* const job = _jobs.Next()) {
        job->state = Job::State::kPlanned;
        _jobs.Account(*job);
        if (!_json && !_quiet) {
            std::cout << "would convert " << Printable(job->sharePath) << '\n';
        }
    }
}

void ConversionCommand::TakeFromCache() {
    if (Task().Stream() == nullptr) {
        return;
    }
    const auto cache = loader::OpenCache(What());
    if (!_refresh) {
        _jobs.ForEachOpen([this, &cache](Job& job) { TakeFromCache(job, *cache); });
    }
}

void ConversionCommand::TakeFromCache(Job& job, core::CacheManager& cache) const {
    const char* const stream = Task().Stream();
    const loader::KeptProducts kept(*job.document);
    if (!kept.IsFresh(stream, cache)) {
        CheckWorthTrying(*job.document);
        return;
    }
    if (HandsOver()) {
        std::ifstream noteTheAccess;
        cache.Get(job.document->realPath, stream, noteTheAccess);
    }
    if (access(kept.PathOf(stream).c_str(), F_OK) != 0) {
        throw loader::Failure(loader::ExplainNothingKept(What(job)));
    }
    Deliver(job, kept.PathOf(stream));
    job.state = Job::State::kFresh;
    TellDone(job);
}

void ConversionCommand::ConvertJobs(size_t atOnce, Interrupts& interrupts) {
    ProgressBoard progress(ProgressMode());
    const auto deliver = [this](Job& job, const std::string& product) { Deliver(job, product); };
    RunningJobs running(Task(), _user, deliver, progress);
    ConversionRun::Limits limits{atOnce, {}};
    if (const auto limit = _folders.TimeLimit()) {
        limits.end = _begin + *limit;
    }
    ConversionRun run(_jobs, running, progress);
    const auto end = run.Run(limits,
                             {[this](std::chrono::milliseconds limit) { return Explore(limit); },
                              [this](const Job& job) { EndConverted(job); }},
                             interrupts);
    if (_cacheLimit) {
        _cacheLimit->Finish();
    }
    GiveUpAfter(end);
}

void ConversionCommand::EndConverted(const Job& job) {
    TellDone(job);
    if (_cacheLimit) {
        _cacheLimit->NoteStored(job);
    }
}

void ConversionCommand::GiveUpAfter(ConversionRun::End end) {
    if (end == ConversionRun::End::kComplete) {
        return;
    }
    _ending = end == ConversionRun::End::kStopped
                  ? Problem{ExitCode::kInterrupted,
                            "not converted",
                            "interrupted before its turn",
                            "",
                            {}}
                  : Problem{ExitCode::kRunTimeLimit,
                            "not converted",
                            "the time limit of the run was reached before its turn",
                            "Repeat the call to go on.",
                            {}};
    if (_jobs.HasOpen() || !_jobs.IsListed()) {
        _jobs.GiveUp(*_ending);
    } else {
        _ending.reset();
    }
}

// Moves `product` to the job's output file if it has one; a kept product is copied and stays.
void ConversionCommand::Deliver(Job& job, const std::string& product) const {
    const bool isKept = Task().Stream() != nullptr;
    if (isKept) {
        job.kept = product;
    }
    if (HandsOver()) {
        HandOver(product, job.output, isKept ? Transfer::kCopy : Transfer::kMove, _force);
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

void ConversionCommand::Warn(const Problem& problem) {
    Tell(problem);
    _warnings.append(ToJson(problem));
}

// A list that cannot be written is no reason not to convert; the exit status tells.
void ConversionCommand::NoteFailure(const Job& job) {
    if (!_failures) {
        return;
    }
    if (const auto problem = ProblemOf([&] { _failures->Add(job); })) {
        Tell(*problem);
        _failures.reset();
        _reportProblem = problem;
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

// Prints the failures last, where people see them also after many documents.
void ConversionCommand::TellSummary() const {
    for (const Job& job : _jobs.All()) {
        if (job.state == Job::State::kFailed) {
            Tell(*job.problem);
        }
    }
    if (_json || _quiet || (!_recursive && _jobs.All().size() < 2)) {
        return;
    }
    std::cout << (_jobs.All().empty() ? "No document that can be converted lies there."
                                      : Summary(Tally::Of(_jobs.All())))
              << std::endl;
    TellWhatIsLeft();
}

void ConversionCommand::TellWhatIsLeft() const {
    if (!_ending || _ending->code != ExitCode::kRunTimeLimit) {
        return;
    }
    std::cout << "The time limit was reached; " << (_jobs.IsListed() ? "" : "at least ")
              << loader::Count(_jobs.Count().notTried, "document")
              << " left. Repeat the call to go on." << std::endl;
}

}  // namespace vellumo::cli
