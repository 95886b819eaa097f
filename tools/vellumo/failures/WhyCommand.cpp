// SPDX-License-Identifier: Apache-2.0
#include "failures/WhyCommand.h"

#include <CLI/CLI.hpp>

#include <ctime>
#include <iomanip>
#include <iostream>

#include "app/InvokingUser.h"
#include "app/Messages.h"
#include "app/Reasons.h"
#include "failures/Advice.h"
#include "failures/FailureView.h"
#include "loader/Text.h"
#include "loader/failures/Explanation.h"
#include "loader/pool/Readiness.h"

namespace vellumo::cli {
namespace {

using loader::Explanation;
using loader::ProductState;
using When = loader::Retry::When;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo why /docs/report.docx                  show all about a document\n"
    "  vellumo why /docs/a.odt /docs/b.odt --json     the same of two, as JSON\n"
    "  vellumo why /home/notes.odt --user ann         the same in ann's home folder\n"
    "It shows what converts the document or why nothing does, which products are kept and whether\n"
    "they are fresh, who works on it now, whether it is queued, why it failed, when it is tried\n"
    "again, and what you can do. The command changes nothing. 'vellumo failures' lists all that "
    "has\n"
    "failed.";

constexpr int kLabelWidth = 14;

void PrintLine(const std::string& label, const std::string& value) {
    std::cout << "  " << std::left << std::setw(kLabelWidth) << (label.empty() ? "" : label + ":")
              << Printable(value) << '\n';
}

const char* NameOf(ProductState::Kept kept) {
    switch (kept) {
        case ProductState::Kept::kNot:
            return "none";
        case ProductState::Kept::kStale:
            return "stale";
        case ProductState::Kept::kFresh:
            break;
    }
    return "fresh";
}

std::string Described(const ProductState& state) {
    switch (state.kept) {
        case ProductState::Kept::kNot:
            return "not kept";
        case ProductState::Kept::kStale:
            return "kept, but older than the document: " + state.path;
        case ProductState::Kept::kFresh:
            break;
    }
    return "kept and fresh: " + state.path;
}

void PrintConverter(const Explanation& explanation) {
    if (explanation.refusal) {
        PrintLine("converter", "nothing converts it: " + explanation.refusal->why);
        return;
    }
    const loader::Way& way = explanation.document->family->whole;
    PrintLine("converter", std::string(way.converter) + " (" + way.tool + ")");
}

void PrintFailure(const ProductState& state) {
    if (!state.failure) {
        if (state.isMarked) {
            PrintLine("",
                      "an attempt failed, and the document has not changed since; folder runs "
                      "do not try it again");
        }
        return;
    }
    const loader::RememberedFailure& failure = *state.failure;
    PrintLine("", "failed " + loader::Count(static_cast<size_t>(failure.attempts), "time") +
                      (failure.product == state.product ? "" : " as " + failure.product) +
                      ", the last at " + loader::Date(failure.last) + ": " + failure.why);
    for (const std::string& line : WordsOf(failure)) {
        PrintLine("", "the tool said: " + line);
    }
    if (state.retry.when == When::kNow) {
        PrintLine("", "may be tried again now");
    } else {
        PrintLine("", state.retry.why +
                          (state.retry.when == When::kIfChanged
                               ? "; a change of the document or of the conversion tools lets it be "
                                 "tried"
                               : ""));
    }
}

std::string Described(const loader::DocumentJob& job) {
    if (!job.runs) {
        return "its job waits: " + job.obstacle;
    }
    return job.container.empty() ? "its job runs" : "its job runs in " + job.container;
}

void PrintWork(const Explanation& explanation) {
    if (!explanation.work) {
        return;
    }
    if (!explanation.work->IsAny()) {
        PrintLine("now", "nobody works on it");
    }
    for (const std::string& product : explanation.work->making) {
        PrintLine("now", "a process makes its " + product);
    }
    for (const loader::DocumentJob& job : explanation.work->jobs) {
        PrintLine("now", Described(job));
    }
}

void PrintQueued(const Explanation& explanation) {
    if (explanation.queuedThrough.empty()) {
        PrintLine("queue", "it is not queued");
    }
    for (const std::string& path : explanation.queuedThrough) {
        PrintLine("queue", path == explanation.document->realPath
                               ? "it is queued"
                               : "the folder " + path + " is queued");
    }
}

void Print(const Explanation& explanation) {
    std::cout << Printable(explanation.sharePath) << '\n';
    if (explanation.document) {
        PrintLine("real path", explanation.document->realPath);
    }
    PrintConverter(explanation);
    for (const ProductState& state : explanation.products) {
        PrintLine(state.product, Described(state));
        PrintFailure(state);
    }
    if (!explanation.products.empty()) {
        PrintWork(explanation);
        PrintQueued(explanation);
    }
    for (const loader::Problem& problem : explanation.problems) {
        PrintLine("unknown", problem.what + ": " + problem.why);
    }
    std::string label = "what to do";
    for (const std::string& advice : AdviceOn(explanation)) {
        PrintLine(std::exchange(label, ""), advice);
    }
}

const char* NameOf(When when) {
    switch (when) {
        case When::kNow:
            return "now";
        case When::kLater:
            return "later";
        case When::kIfChanged:
            break;
    }
    return "if-changed";
}

Json::Value ToJson(const ProductState& state) {
    Json::Value value(Json::objectValue);
    value["product"] = state.product;
    value["kept"] = NameOf(state.kept);
    value["path"] = state.path.empty() ? Json::Value() : Json::Value(state.path);
    value["marked"] = state.isMarked;
    value["failure"] = state.failure ? cli::ToJson(*state.failure) : Json::Value();
    value["retry"] = NameOf(state.retry.when);
    value["retryWhy"] = state.retry.why;
    return value;
}

Json::Value ToJson(const loader::DocumentWork& work) {
    Json::Value value(Json::objectValue);
    value["making"] = JsonArray(work.making);
    value["jobs"] = Json::Value(Json::arrayValue);
    for (const loader::DocumentJob& job : work.jobs) {
        Json::Value& entry = value["jobs"].append(Json::Value(Json::objectValue));
        entry["state"] = job.runs ? "running" : "waiting";
        entry["waitsFor"] = job.obstacle.empty() ? Json::Value() : Json::Value(job.obstacle);
        entry["container"] = job.container.empty() ? Json::Value() : Json::Value(job.container);
    }
    return value;
}

Json::Value ToJson(const loader::Problem& problem) {
    Json::Value value = ToJson(InOwnTerms(problem));
    value["reason"] = loader::NameOf(problem.reason);
    return value;
}

Json::Value ToJson(const Explanation& explanation) {
    Json::Value value(Json::objectValue);
    value["sharePath"] = explanation.sharePath;
    value["realPath"] =
        explanation.document ? Json::Value(explanation.document->realPath) : Json::Value();
    value["converter"] = explanation.refusal
                             ? Json::Value()
                             : Json::Value(explanation.document->family->whole.converter);
    value["refusal"] = explanation.refusal ? ToJson(*explanation.refusal) : Json::Value();
    value["products"] = Json::Value(Json::arrayValue);
    for (const ProductState& state : explanation.products) {
        value["products"].append(ToJson(state));
    }
    value["work"] = explanation.work ? ToJson(*explanation.work) : Json::Value();
    value["queuedThrough"] = JsonArray(explanation.queuedThrough);
    value["unknown"] = Json::Value(Json::arrayValue);
    for (const loader::Problem& problem : explanation.problems) {
        value["unknown"].append(ToJson(problem));
    }
    value["advice"] = JsonArray(AdviceOn(explanation));
    return value;
}

}  // namespace

WhyCommand::WhyCommand(CLI::App& app)
    : Command(app.add_subcommand("why", "Show why a document has no product, and what to do")),
      _user(InvokingUser()) {
    Arguments()->footer(kExamples);
    Arguments()
        ->add_option("SHARE_PATH", _sharePaths, "Documents, as in /docs/report.docx")
        ->required()
        ->option_text("...");
    Arguments()
        ->add_option("--user", _user, "The user whose home folder /home means; default: you")
        ->option_text("NAME");
}

CommandResult WhyCommand::Run(bool json) {
    loader::CheckRights("cannot look at documents");
    CommandResult result{ExitCode::kDone};
    result.json["documents"] = Json::Value(Json::arrayValue);
    for (const std::string& sharePath : _sharePaths) {
        const Explanation explanation = loader::Explain(sharePath, _user, std::time(nullptr));
        result.json["documents"].append(ToJson(explanation));
        if (!json) {
            Print(explanation);
        }
    }
    return result;
}

}  // namespace vellumo::cli
