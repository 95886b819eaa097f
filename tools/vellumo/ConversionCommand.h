// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CONVERSIONCOMMAND_H
#define VELLUMO_TOOLS_CONVERSIONCOMMAND_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "Conversion.h"
#include "Interrupts.h"
#include "Job.h"
#include "OutputFile.h"
#include "Progress.h"
#include "Worker.h"
#include "vellumo/CacheManager.h"

namespace vellumo::cli {

// A command that makes a product of each of several documents, one after the other: the products
// are kept beside the documents, copied to where the caller wants them, or both.
//
// Everything that can be told beforehand is told before the first conversion starts, and what is
// fresh already is not made again. A document that fails does not keep the others from being
// converted.
class ConversionCommand : public Command {
public:
    CommandResult Run(bool json) final;

protected:
    // `outputNote`: where products go without -o, for the help.
    ConversionCommand(CLI::App* arguments, const std::string& outputNote);

    bool IsRecursive() const { return _recursive; }
    bool HasOutput() const { return !_output.empty(); }

    // How a document is converted.
    virtual Assignment Task() const = 0;

    // The programs that do it, of which one has failed, for people.
    virtual std::string ToolsFor(const Document& document) const = 0;

    // The name of the product beside the document, null when it is not kept there.
    virtual const char* Stream() const = 0;

    // Whether products are brought to the caller's output, and as files of which type.
    virtual bool HandsOver() const = 0;
    virtual std::string OutputType(const Document& document) const = 0;

    // Why a document that is not fresh is not to be tried, if there is such a reason.
    virtual std::optional<Problem> ReasonToSkip(const Job& /*job*/) const { return {}; }

    // The conversion of `job` was stopped by an interrupt.
    virtual void TidyAfterStop(const Job& /*job*/) const {}

    static std::string What(const Job& job) { return "cannot convert " + job.sharePath; }

private:
    void AddOptions(const std::string& outputNote);
    NAVO::VELLUMO::ContainerPoolManager::Priority Priority() const;
    std::string What() const;

    void CollectJobs();
    void AddFolder(const Document& folder);
    void AddJob(const std::string& sharePath);
    void ForEachOpenJob(const std::function<void(Job&)>& step);
    void ResolveJobs();
    void PlaceOutputs();
    void CheckAgainstJobs(const std::string& path) const;

    void TakeFromCache();
    void TakeFromCache(Job& job, NAVO::VELLUMO::CacheManager& cache) const;
    bool HasWork() const;
    void Work();
    void FailAllOpen(const Problem& problem);
    void ConvertJobs();
    void TryJob(Job& job, Interrupts& interrupts, Progress& progress) const;
    void ConvertJob(Job& job, Interrupts& interrupts, Progress& progress) const;
    void MakeReadyToKeep(const Job& job) const;
    void Finish(Job& job, const WorkerReport& report, const Worker& worker) const;
    void DeliverKept(Job& job) const;
    Progress::Mode ProgressMode() const;

    void Tell(const Problem& problem) const;
    void TellDone(const Job& job) const;
    void TellSummary() const;

    std::vector<std::string> _sharePaths;
    std::string _user;
    std::string _output;
    bool _recursive = false;
    bool _refresh = false;
    bool _force = false;
    bool _quiet = false;
    bool _json = false;
    std::string _progress = "auto";
    std::vector<Job> _jobs;
};

}  // namespace vellumo::cli

#endif
