// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CONVERSIONCOMMAND_H
#define VELLUMO_TOOLS_CONVERSIONCOMMAND_H

#include <optional>
#include <string>
#include <vector>

#include "app/Command.h"
#include "convert/JobList.h"
#include "convert/Progress.h"
#include "loader/conversion/Assignment.h"
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

    // Throws Failure to skip the document of `job`, whose product is not fresh.
    virtual void CheckWorthTrying(const Job& /*job*/) const {}

    static std::string What(const Job& job) { return "cannot convert " + job.sharePath; }

private:
    void AddOptions(const std::string& outputNote);
    std::string What() const;
    void CollectJobs();
    void PlaceOutputs();
    void Work();
    void TakeFromCache();
    void TakeFromCache(Job& job, NAVO::VELLUMO::CacheManager& cache) const;
    size_t AtOnce(size_t slots) const;
    void ConvertJobs(size_t atOnce);
    void Deliver(Job& job, const std::string& product) const;
    Progress::Mode ProgressMode() const;
    void Tell(const Problem& problem) const;
    void TellDone(const Job& job) const;
    void TellSummary() const;

    std::vector<std::string> _sharePaths;
    std::string _user;
    std::string _output;
    bool _recursive = false;
    unsigned _atOnce = 0;  // 0: as the pool can take
    bool _refresh = false;
    bool _force = false;
    bool _quiet = false;
    bool _json = false;
    std::string _progress = "auto";
    JobList _jobs;
};

}  // namespace vellumo::cli

#endif
