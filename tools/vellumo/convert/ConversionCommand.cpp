// SPDX-License-Identifier: Apache-2.0
#include "convert/ConversionCommand.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <iomanip>
#include <iostream>

#include "app/Interrupts.h"
#include "app/InvokingUser.h"
#include "app/Reasons.h"
#include "convert/ConversionRun.h"
#include "convert/OutputFile.h"
#include "convert/Report.h"
#include "convert/RunningJobs.h"
#include "convert/TakenPlaces.h"
#include "loader/Text.h"
#include "loader/cache/KeptProducts.h"
#include "loader/conversion/Endings.h"
#include "loader/pool/Readiness.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr unsigned kMostJobs = 1000;

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
            ->add_flag("-r,--recursive", _recursive,
                       "Convert every document in the folders and below them, and keep each\n"
                       "product beside its document only. Not with -o")
            ->excludes(output)
            ->option_text(" ");
    Arguments()
        ->add_option("--jobs", _atOnce,
                     "Convert N documents at once; default: as many as the containers of the\n"
                     "pool can take. Only with -r")
        ->check(CLI::Range(1U, kMostJobs))
        ->needs(recursive)
        ->option_text("N");
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
    return jobs.size() == 1 ? What(jobs.front())
                            : "cannot convert " + loader::Count(jobs.size(), "document");
}

CommandResult ConversionCommand::Run(bool json) {
    _json = json;
    CollectJobs();
    _jobs.Resolve(_user);
    PlaceOutputs();
    if (const auto problem = ProblemOf([this] { Work(); })) {
        Tell(*problem);
        _jobs.GiveUp(*problem);
    }
    TellSummary();
    return ResultOf(_jobs.All());
}

void ConversionCommand::CollectJobs() {
    if (_recursive) {
        _jobs.AddFolders(_sharePaths, _user);
    } else {
        _jobs.Add(_sharePaths);
    }
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
    if (!_jobs.HasOpen()) {
        return;
    }
    loader::CheckRights(What());
    TakeFromCache();
    if (!_jobs.HasOpen()) {
        return;
    }
    loader::CheckServer(What());
    const size_t slots = loader::CheckPool(What(), Task().Priority());
    ConvertJobs(AtOnce(slots));
}

// The containers that can take such jobs; more workers would only wait for them.
size_t ConversionCommand::AtOnce(size_t slots) const {
    if (!_recursive) {
        return 1;
    }
    return _atOnce != 0 ? _atOnce : std::max<size_t>(slots, 1);
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
        CheckWorthTrying(job);
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
    if (!_recursive) {
        TellDone(job);
    }
}

void ConversionCommand::ConvertJobs(size_t atOnce) {
    Interrupts interrupts;
    ProgressBoard progress(ProgressMode());
    RunningJobs running(
        Task(), [this](Job& job, const std::string& product) { Deliver(job, product); }, progress);
    ConversionRun run(_jobs, running, progress, atOnce);
    run.Run(interrupts, [this](const Job& job) { TellDone(job); });
    if (run.IsStopped()) {
        _jobs.GiveUp(
            {ExitCode::kInterrupted, "not converted", "interrupted before its turn", "", {}});
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
}

}  // namespace vellumo::cli
