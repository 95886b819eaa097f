// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CONVERSIONCOMMAND_H
#define VELLUMO_TOOLS_CONVERSIONCOMMAND_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "app/Command.h"
#include "app/Interrupts.h"
#include "convert/CacheLimit.h"
#include "convert/ConversionRun.h"
#include "convert/FailureFile.h"
#include "convert/FolderOptions.h"
#include "convert/JobList.h"
#include "convert/Progress.h"
#include "loader/conversion/Assignment.h"
#include "loader/failures/FailureMemory.h"
#include "vellumo/CacheManager.h"

namespace vellumo::cli {

// A command that converts documents, those of folders several at once. The products are kept in the
// cache, written to the place that the caller names, or both.
//
// Checks all documents and outputs before the first conversion starts, and does not convert again
// what is fresh in the cache. After a failure it goes on with the next document.
class ConversionCommand : public Command {
public:
    CommandResult Run(bool json) final;

protected:
    // `outputNote`: where products go without -o, for the help text.
    ConversionCommand(CLI::App* arguments, const std::string& outputNote);

    bool IsRecursive() const { return _recursive; }
    bool HasOutput() const { return !_output.empty(); }

    // What to make from each document.
    virtual loader::Assignment Task() const = 0;

    // Whether products are written to the caller's output, and with which extension.
    virtual bool HandsOver() const = 0;
    virtual std::string OutputType(const loader::Document& document) const = 0;

    static std::string What(const Job& job) { return "cannot convert " + job.sharePath; }

private:
    using Clock = std::chrono::steady_clock;

    void AddOptions(const std::string& outputNote);
    std::string What() const;
    void CollectJobs();
    void PlaceOutputs();
    void Work();
    void ReadFailures();
    void CheckWorthTrying(const loader::Document& document) const;
    void FindFirstJob(Interrupts& interrupts);
    bool GoesOnExploring(Interrupts& interrupts);
    bool Explore(std::chrono::milliseconds limit);
    void Examine(Job& job, NAVO::VELLUMO::CacheManager& cache) const;
    void Plan(Interrupts& interrupts);
    void TakeFromCache();
    void TakeFromCache(Job& job, NAVO::VELLUMO::CacheManager& cache) const;
    size_t AtOnce(size_t slots) const;
    void ConvertJobs(size_t atOnce, Interrupts& interrupts);
    void GiveUpAfter(ConversionRun::End end);
    void Deliver(Job& job, const std::string& product) const;
    Progress::Mode ProgressMode() const;
    void EndConverted(const Job& job);
    void Tell(const Problem& problem) const;
    void Warn(const Problem& problem);
    void TellDone(const Job& job) const;
    void NoteFailure(const Job& job);
    void TellSummary() const;
    void TellWhatIsLeft() const;
    CommandResult Result() const;

    std::vector<std::string> _sharePaths;
    std::string _user;
    std::string _output;
    bool _recursive = false;
    bool _refresh = false;
    bool _force = false;
    bool _quiet = false;
    bool _json = false;
    std::string _progress = "auto";
    FolderOptions _folders;
    Clock::time_point _begin = Clock::now();
    JobList _jobs;
    std::optional<CacheLimit> _cacheLimit;  // set while PDFs are kept
    Json::Value _warnings{Json::arrayValue};
    std::optional<FailureFile> _failures;
    loader::KnownFailures _failedBefore{{}, loader::ToolsFingerprint};
    std::optional<Problem> _ending;         // why not every document was tried
    std::optional<Problem> _reportProblem;  // why the list of failures is not complete
};

}  // namespace vellumo::cli

#endif
