// SPDX-License-Identifier: Apache-2.0
#include "records/QueueCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iomanip>
#include <iostream>

#include "app/InvokingUser.h"
#include "app/Messages.h"
#include "loader/Text.h"
#include "loader/documents/Document.h"
#include "loader/queue/Operation.h"
#include "records/Database.h"
#include "vellumo/Constants.h"
#include "vellumo/TaskDB.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
using Task = core::TaskDB::Task;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo queue add /docs/a.docx            keep a PDF and a thumbnail of a document\n"
    "  vellumo queue add --folder /docs/new      the same for all documents in a folder\n"
    "  vellumo queue add --op now /docs/b.docx   the same before everything else\n"
    "  vellumo queue add --op remove /docs/old   remove what is kept of it\n"
    "  vellumo queue                             list the tasks, oldest first\n"
    "  vellumo queue done 17 18                  delete tasks by their ids\n"
    "  vellumo queue has /docs/new               show whether it, or anything in it, is queued\n"
    "The daemon navovellumod works on the queue; 'vellumo status' shows how far it is. A task "
    "stays\n"
    "in the queue until it is done. The queue stores real paths, as 'vellumo path' shows them, "
    "and\n"
    "the file need not exist. Tasks with numbers that are not listed here are left to other "
    "programs.";

constexpr int kIdWidth = 10;
constexpr int kNumberWidth = 12;

// A check for CLI11: "" when `id` has the form of an id, else the error.
std::string CheckId(const std::string& id) {
    const bool decimal = !id.empty() && id.find_first_not_of("0123456789") == std::string::npos;
    return decimal ? "" : "'" + id + "' is not the id of a task: ids are decimal numbers";
}

void Open(core::TaskDB& queue, const std::string& what) {
    if (!queue.OpenDB()) {
        RefuseDatabase(what, core::SZF_THUMB_DB_PATH);
    }
}

// The oldest `limit` tasks; 0 means all.
std::vector<Task> Read(core::TaskDB& queue, const std::string& what, unsigned long limit) {
    std::vector<Task> tasks;
    if (!queue.GetTasks(tasks, limit)) {
        RefuseDatabase(what, core::SZF_THUMB_DB_PATH);
    }
    return tasks;
}

Json::Value ToJson(const Task& task) {
    Json::Value value(Json::objectValue);
    value["id"] = task.id;
    value["path"] = task.path;
    value["folder"] = task.is_folder;
    value["op"] = task.op;
    value["type"] = task.convert_type;
    return value;
}

void PrintColumns(const std::string& id, const std::string& op, const std::string& type,
                  const std::string& kind, const std::string& path) {
    std::cout << std::right << std::setw(kIdWidth) << id << std::setw(kNumberWidth) << op
              << std::setw(kNumberWidth) << type << "  " << std::left << std::setw(8) << kind
              << Printable(path) << '\n';
}

// "convert (0), now (1)".
std::string WordsAndNumbers(const std::vector<std::string>& words) {
    std::string text;
    for (size_t number = 0; number < words.size(); ++number) {
        text += (number == 0 ? "" : ", ") + words.at(number) + " (" + std::to_string(number) + ")";
    }
    return text;
}

// For CLI11: replaces a word by its number, and leaves everything else as it is.
CLI::Validator ToNumberOf(const std::vector<std::string>& words) {
    return {[words](std::string& value) {
                const auto word = std::find(words.begin(), words.end(), value);
                value = word == words.end() ? value : std::to_string(word - words.begin());
                return std::string();
            },
            ""};
}

void Print(const std::vector<Task>& tasks) {
    if (tasks.empty()) {
        std::cout << "The queue is empty.\n";
        return;
    }
    PrintColumns("ID", "OP", "TYPE", "KIND", "PATH");
    for (const Task& task : tasks) {
        PrintColumns(task.id, std::to_string(task.op), std::to_string(task.convert_type),
                     task.is_folder ? "folder" : "file", task.path);
    }
}

}  // namespace

QueueCommand::QueueCommand(CLI::App& app)
    : ActionCommand(app.add_subcommand("queue", "Show and change the queue of pending work")),
      _user(InvokingUser()) {
    Arguments()->footer(kExamples);
    Arguments()->require_subcommand(0, 1);
    AddList();
    AddAdd();
    AddNext();
    AddDone();
    AddHas();
}

void QueueCommand::AddUser(CLI::App* arguments) {
    arguments->add_option("--user", _user, "The user whose home folder /home means; default: you")
        ->option_text("NAME");
}

void QueueCommand::AddList() {
    AddAction("list", "List the tasks, oldest first (the default)", [this] { return List(); })
        ->add_option("--limit", _limit, "Show at most N tasks; 0, the default, means all")
        ->check(CheckGiven)
        ->option_text("N");
}

void QueueCommand::AddAdd() {
    CLI::App* arguments =
        AddAction("add", "Append tasks; a task that is already queued stays as it is",
                  [this] { return Append(); });
    arguments
        ->add_option("SHARE_PATH", _sharePaths,
                     "Files or folders; the queue stores their real paths")
        ->required()
        ->option_text("...");
    arguments->add_flag("--folder", _folder, "The paths are folders");
    arguments
        ->add_option("--op", _op,
                     "What to do: " + WordsAndNumbers(loader::OperationNames()) +
                         ";\nor the number of another program; default: convert")
        ->check(CheckGiven)
        ->transform(ToNumberOf(loader::OperationNames()))
        ->option_text("OP");
    arguments
        ->add_option("--type", _type,
                     "Which products: " + WordsAndNumbers(loader::ProductsNames()) +
                         ";\nor the number of another program; default: both")
        ->check(CheckGiven)
        ->transform(ToNumberOf(loader::ProductsNames()))
        ->option_text("TYPE");
    AddUser(arguments);
}

void QueueCommand::AddNext() {
    AddAction("next", "Show the oldest task, which stays queued", [this] { return Next(); });
}

void QueueCommand::AddDone() {
    AddAction("done", "Delete tasks; unknown ids are ignored", [this] { return Finish(); })
        ->add_option("ID", _ids, "Ids, as 'list' and 'next' show them")
        ->required()
        ->check(CheckId)
        ->option_text("...");
}

void QueueCommand::AddHas() {
    CLI::App* arguments =
        AddAction("has",
                  "Show whether a queued path contains this one's real path, in which\n"
                  "'%' matches any text and '_' one character",
                  [this] { return Has(); });
    arguments->add_option("SHARE_PATH", _sharePaths, "A file or folder")
        ->required()
        ->expected(1)
        ->option_text(" ");
    AddUser(arguments);
}

CommandResult QueueCommand::List() const {
    constexpr const char* kWhat = "cannot list the queue";
    core::TaskDB queue;
    Open(queue, kWhat);
    const std::vector<Task> tasks = Read(queue, kWhat, _limit);
    if (!Json()) {
        Print(tasks);
    }
    CommandResult result{ExitCode::kDone};
    result.json["database"] = core::SZF_THUMB_DB_PATH;
    result.json["tasks"] = Json::Value(Json::arrayValue);
    for (const Task& task : tasks) {
        result.json["tasks"].append(ToJson(task));
    }
    return result;
}

// Resolves all paths before it queues one, so that a wrong path changes nothing.
CommandResult QueueCommand::Append() const {
    std::vector<loader::Document> documents;
    std::transform(_sharePaths.begin(), _sharePaths.end(), std::back_inserter(documents),
                   [this](const std::string& path) { return loader::Resolve(path, _user); });
    core::TaskDB queue;
    Open(queue, "cannot queue " + _sharePaths.front());
    CommandResult result{ExitCode::kDone};
    for (const loader::Document& document : documents) {
        if (!queue.AppendTask({_op, _folder, "", document.realPath, _type})) {
            RefuseDatabase("cannot queue " + document.sharePath, core::SZF_THUMB_DB_PATH);
        }
        result.json["queued"].append(document.realPath);
        if (!Json()) {
            std::cout << Printable(document.realPath) << ": queued\n";
        }
    }
    return result;
}

CommandResult QueueCommand::Next() const {
    constexpr const char* kWhat = "cannot show the next task";
    core::TaskDB queue;
    Open(queue, kWhat);
    const std::vector<Task> tasks = Read(queue, kWhat, 1);
    if (tasks.empty()) {
        throw Failure({ExitCode::kNotFound, "there is no next task", "the queue is empty", "", {}});
    }
    if (!Json()) {
        Print(tasks);
    }
    CommandResult result{ExitCode::kDone};
    result.json["task"] = ToJson(tasks.front());
    return result;
}

CommandResult QueueCommand::Finish() const {
    core::TaskDB queue;
    Open(queue, "cannot delete tasks");
    for (const std::string& id : _ids) {
        if (!queue.DeleteTask({0, false, id, "", 0})) {
            RefuseDatabase("cannot delete task " + id, core::SZF_THUMB_DB_PATH);
        }
        if (!Json()) {
            std::cout << id << ": no longer queued\n";
        }
    }
    CommandResult result{ExitCode::kDone};
    result.json["done"] = JsonArray(_ids);
    return result;
}

CommandResult QueueCommand::Has() const {
    const loader::Document document = loader::Resolve(_sharePaths.front(), _user);
    const std::string what = "cannot look for " + document.sharePath;
    core::TaskDB queue;
    Open(queue, what);
    if (!queue.IsConvertingPath(document.realPath)) {
        Read(queue, what, 1);  // fails if "no" only means that the queue cannot be read
        throw Failure({ExitCode::kNotFound,
                       document.sharePath + " is not queued",
                       "no queued path contains " + document.realPath,
                       "",
                       {}});
    }
    if (!Json()) {
        std::cout << Printable(document.realPath) << ": queued\n";
    }
    CommandResult result{ExitCode::kDone};
    result.json["path"] = document.realPath;
    result.json["queued"] = true;
    return result;
}

}  // namespace vellumo::cli
