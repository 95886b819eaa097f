// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_PDFCOMMAND_H
#define VELLUMO_TOOLS_PDFCOMMAND_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "Document.h"
#include "Messages.h"
#include "OutputFile.h"
#include "Progress.h"
#include "vellumo/ContainerPoolManager.h"

namespace vellumo::cli {

class Interrupts;
class Worker;
struct WorkerReport;

// vellumo pdf: converts documents, one after the other, and hands the products over.
//
// Everything that can be told beforehand is told before the first conversion starts. A document
// that fails does not keep the others from being converted.
class PdfCommand final : public Command {
public:
    explicit PdfCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    // One document of the call, on its way to a product.
    struct Job {
        std::string sharePath;
        std::optional<Document> document;  // once it is resolved
        std::string output;                // absolute path of the product
        std::optional<Problem> problem;    // why there is none
        bool done = false;
        double seconds = 0;
    };

    void AddOptions();
    NAVO::VELLUMO::ContainerPoolManager::Priority Priority() const;
    const char* Pages() const { return _pages ? _pages->c_str() : nullptr; }
    const Way& WayFor(const Document& document) const;

    void PrepareJobs();
    void ForEachOpenJob(const std::function<void(Job&)>& step);
    void CheckAgainstJobs(const std::string& path) const;
    std::string What() const;
    [[noreturn]] void FailPreparation(const std::string& why, const std::string& next,
                                      ExitCode code = ExitCode::kNotPrepared) const;
    void CheckServer() const;
    void CheckPool() const;
    bool HasWork() const;
    void FailAllOpen(const Problem& problem);

    void ConvertJobs();
    void TryJob(Job& job, Interrupts& interrupts, Progress& progress) const;
    void ConvertJob(Job& job, Interrupts& interrupts, Progress& progress) const;
    void Finish(Job& job, const WorkerReport& report, const Worker& worker) const;
    Progress::Mode ProgressMode() const;

    void Tell(const Problem& problem) const;
    void TellDone(const Job& job) const;
    void TellSummary() const;
    CommandResult Result() const;

    std::vector<std::string> _sharePaths;
    std::string _user;
    std::optional<std::string> _pages;
    std::string _output;
    bool _force = false;
    bool _quiet = false;
    bool _json = false;
    std::string _progress = "auto";
    std::vector<Job> _jobs;
};

}  // namespace vellumo::cli

#endif
