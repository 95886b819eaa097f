// SPDX-License-Identifier: Apache-2.0
#include "failures/FailuresCommand.h"

#include <CLI/CLI.hpp>

#include <iomanip>
#include <iostream>

#include "app/InvokingUser.h"
#include "app/Messages.h"
#include "failures/FailureView.h"
#include "loader/Text.h"
#include "loader/documents/Document.h"
#include "loader/failures/FailureMemory.h"
#include "loader/pool/Readiness.h"

namespace vellumo::cli {
namespace {

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo failures                               list what has failed, the latest first\n"
    "  vellumo failures --below /docs/old --limit 20  the latest 20 in a folder\n"
    "  vellumo why /docs/report.docx                  show all about one document\n"
    "  vellumo failures forget /docs/report.docx      let the next run try it again\n"
    "  vellumo failures forget --all                  let the next run try everything again\n"
    "A failed document is not tried again before it or the conversion tools change. After a time\n"
    "limit or a crash it is tried again 10 minutes later, then 2 hours later. Two dead worker\n"
    "processes put it aside. 'vellumo pdf --refresh' tries it at once. 'vellumo cache sweep' "
    "forgets\n"
    "documents that are gone.";

void PrintColumns(const std::string& last, const std::string& product, const std::string& tries,
                  const std::string& next, const std::string& reason, const std::string& path) {
    std::cout << std::left << std::setw(22) << last << std::setw(11) << product << std::right
              << std::setw(5) << tries << "  " << std::left << std::setw(22) << next
              << std::setw(13) << reason << Printable(path) << '\n';
}

void Print(const std::vector<loader::RememberedFailure>& failures) {
    if (failures.empty()) {
        std::cout << "No failure is remembered.\n";
        return;
    }
    PrintColumns("LAST FAILURE", "PRODUCT", "TRIES", "NEXT TRY", "REASON", "DOCUMENT");
    for (const loader::RememberedFailure& failure : failures) {
        PrintColumns(loader::Date(failure.last), failure.product, std::to_string(failure.attempts),
                     NextTry(failure), failure.reason, failure.path);
    }
}

}  // namespace

FailuresCommand::FailuresCommand(CLI::App& app)
    : Command(app.add_subcommand("failures",
                                 "List and forget the failures that keep documents from being "
                                 "tried again")),
      _user(InvokingUser()) {
    Arguments()->footer(kExamples);
    Arguments()->require_subcommand(0, 1);
    Arguments()
        ->add_option("--below", _below, "Only this document, or those in this folder and below it")
        ->option_text("SHARE_PATH");
    Arguments()
        ->add_option("--limit", _limit, "Show at most N failures; 0, the default, means all")
        ->check(CLI::NonNegativeNumber)
        ->option_text("N");
    AddUser(Arguments());
    AddForget();
}

void FailuresCommand::AddUser(CLI::App* arguments) {
    arguments->add_option("--user", _user, "The user whose home folder /home means; default: you")
        ->option_text("NAME");
}

void FailuresCommand::AddForget() {
    _forget = Arguments()->add_subcommand("forget", "Forget the failures of documents");
    CLI::Option* documents =
        _forget->add_option("SHARE_PATH", _sharePaths, "Documents, which need not exist any more")
            ->option_text("...");
    _forget->add_flag("--all", _all, "Forget every failure")->excludes(documents);
    AddUser(_forget);
}

CommandResult FailuresCommand::Run(bool json) {
    loader::CheckRights("cannot use the memory of failures");
    return _forget->parsed() ? Forget(json) : List(json);
}

CommandResult FailuresCommand::List(bool json) const {
    const std::string realPath = _below.empty() ? "" : loader::Resolve(_below, _user).realPath;
    const auto failures = loader::FailureMemory().List(realPath, _limit);
    CommandResult result{ExitCode::kDone};
    result.json["failures"] = Json::Value(Json::arrayValue);
    for (const loader::RememberedFailure& failure : failures) {
        result.json["failures"].append(ToJson(failure));
    }
    if (!json) {
        Print(failures);
    }
    return result;
}

size_t FailuresCommand::ForgetNamed() const {
    size_t forgotten = 0;
    for (const std::string& sharePath : _sharePaths) {
        forgotten += loader::FailureMemory().Forget(loader::Resolve(sharePath, _user).realPath);
    }
    return forgotten;
}

CommandResult FailuresCommand::Forget(bool json) const {
    if (_sharePaths.empty() && !_all) {
        throw Failure({ExitCode::kUsage,
                       "cannot forget anything",
                       "neither a document nor --all is given",
                       "Name documents, or add --all.",
                       {}});
    }
    const size_t forgotten = _all ? loader::FailureMemory().ForgetAll() : ForgetNamed();
    CommandResult result{ExitCode::kDone};
    result.json["forgotten"] = Json::UInt64{forgotten};
    if (!json) {
        std::cout << loader::Count(forgotten, "failure") << " forgotten\n";
    }
    return result;
}

}  // namespace vellumo::cli
