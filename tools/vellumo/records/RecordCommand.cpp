// SPDX-License-Identifier: Apache-2.0
#include "records/RecordCommand.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <iomanip>
#include <iostream>

#include "app/InvokingUser.h"
#include "app/Messages.h"
#include "loader/Text.h"
#include "loader/documents/Document.h"
#include "records/Database.h"
#include "vellumo/BaseDB.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
using Database = core::ThirdPartyConvertDB;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo record create t-17 --source /docs/a.doc   record that a package wants a conversion\n"
    "  vellumo record update t-17 --converted /docs/a.pdf --code 0\n"
    "                                                    record its outcome\n"
    "  vellumo record show t-17                          show the record\n"
    "  vellumo record delete t-17                        delete it\n"
    "A record only notes a conversion; it starts none. Records store real paths, as 'vellumo "
    "path'\n"
    "shows them, and the files need not exist. The programs that keep records define what the\n"
    "numbers of --code mean.";

constexpr int kLabelWidth = 12;

void Open(Database& records, const std::string& what) {
    if (!records.OpenDB()) {
        RefuseDatabase(what, core::SZF_THIRD_PARTY_DB_PATH);
    }
}

// The number of records with one identifier, which the library does not report.
std::string CountOf(const std::string& taskId, const std::string& what) {
    core::BaseDB database;
    database.path = core::SZF_THIRD_PARTY_DB_PATH;
    std::vector<core::Row> rows;
    if (!database.Open() ||
        !database.QueryResult("SELECT COUNT(*) AS count FROM tasks WHERE task_id = " +
                                  core::BaseDB::EscapeString(taskId, true),
                              rows) ||
        rows.size() != 1) {
        RefuseDatabase(what, database.path);
    }
    return rows.front()["count"];
}

Database::Task Find(Database& records, const std::string& taskId, const std::string& what) {
    Database::Task task;
    if (records.GetByTaskId(taskId, task)) {
        return task;
    }
    const std::string count = CountOf(taskId, what);
    if (count == "0") {
        throw Failure(
            {ExitCode::kNotFound, what, "there is no record with this identifier", "", {}});
    }
    if (count == "1") {
        RefuseDatabase(what, core::SZF_THIRD_PARTY_DB_PATH);
    }
    throw Failure({ExitCode::kFailed,
                   what,
                   count + " records have this identifier, so none can be chosen",
                   "'vellumo record delete' deletes all of them.",
                   {}});
}

Json::Value ToJson(const Database::Task& task) {
    Json::Value value(Json::objectValue);
    value["id"] = task.id;
    value["taskId"] = task.task_id;
    value["uid"] = task.uid;
    value["source"] = task.orig_path;
    value["converted"] = task.conv_path;
    value["code"] = task.error_code;
    return value;
}

void PrintLine(const std::string& label, const std::string& value) {
    std::cout << std::left << std::setw(kLabelWidth) << label + ":" << Printable(value) << '\n';
}

void Print(const Database::Task& task) {
    PrintLine("task", task.task_id);
    PrintLine("id", task.id);
    PrintLine("uid", std::to_string(task.uid));
    PrintLine("source", task.orig_path);
    PrintLine("converted", task.conv_path.empty() ? "none" : task.conv_path);
    PrintLine("code", std::to_string(task.error_code));
}

}  // namespace

RecordCommand::RecordCommand(CLI::App& app)
    : ActionCommand(app.add_subcommand(
          "record", "Show and change the records of conversions for other packages")),
      _user(InvokingUser()) {
    Arguments()->footer(kExamples);
    Arguments()->require_subcommand(1);
    AddCreate();
    AddShow();
    AddUpdate();
    AddDelete();
}

void RecordCommand::AddTaskId(CLI::App* arguments) {
    arguments
        ->add_option("TASK_ID", _taskIds,
                     "The identifier that the other package gave to the conversion")
        ->required()
        ->expected(1)
        ->check(CheckGiven)
        ->option_text(" ");
}

void RecordCommand::AddData(CLI::App* arguments) {
    arguments->add_option("--source", _source, "The document; the record stores its real path")
        ->option_text("SHARE_PATH");
    arguments->add_option("--converted", _converted, "The product; the record stores its real path")
        ->option_text("SHARE_PATH");
    arguments->add_option("--uid", _uid, "Uid of the user who wants the conversion; at first yours")
        ->check(CheckGiven)
        ->option_text("N");
    arguments->add_option("--code", _code, "Outcome of the conversion; at first 0")
        ->check(CheckGiven)
        ->option_text("N");
    arguments->add_option("--user", _user, "The user whose home folder /home means; default: you")
        ->option_text("NAME");
}

void RecordCommand::AddCreate() {
    CLI::App* arguments =
        AddAction("create", "Create a record; --source is required", [this] { return Create(); });
    AddTaskId(arguments);
    AddData(arguments);
    arguments->get_option("--source")->required();
}

void RecordCommand::AddShow() {
    AddTaskId(AddAction("show", "Show a record", [this] { return Show(); }));
}

void RecordCommand::AddUpdate() {
    CLI::App* arguments = AddAction("update", "Change the parts of a record that options name",
                                    [this] { return Update(); });
    AddTaskId(arguments);
    AddData(arguments);
}

void RecordCommand::AddDelete() {
    AddAction("delete", "Delete records; unknown identifiers are ignored",
              [this] { return Delete(); })
        ->add_option("TASK_ID", _taskIds, "Identifiers; all records with each one are deleted")
        ->required()
        ->check(CheckGiven)
        ->option_text("...");
}

void RecordCommand::ApplyTo(Task& task) const {
    task.orig_path = _source ? loader::Resolve(*_source, _user).realPath : task.orig_path;
    task.conv_path = _converted ? loader::Resolve(*_converted, _user).realPath : task.conv_path;
    task.uid = _uid.value_or(task.uid);
    task.error_code = _code.value_or(task.error_code);
}

CommandResult RecordCommand::Told(const Task& task) const {
    if (!Json()) {
        Print(task);
    }
    CommandResult result{ExitCode::kDone};
    result.json["record"] = ToJson(task);
    return result;
}

// Refuses an existing identifier: with two records, the library reads neither.
CommandResult RecordCommand::Create() const {
    const std::string what = "cannot record " + TaskId();
    Task task{0, getuid(), "", TaskId(), "", ""};
    ApplyTo(task);
    Database records;
    Open(records, what);
    if (CountOf(TaskId(), what) != "0") {
        throw Failure({ExitCode::kFailed,
                       what,
                       "there is already a record with this identifier",
                       "'vellumo record update' changes it.",
                       {}});
    }
    if (!records.Create(task)) {
        RefuseDatabase(what, core::SZF_THIRD_PARTY_DB_PATH);
    }
    return Told(Find(records, TaskId(), what));
}

CommandResult RecordCommand::Show() const {
    const std::string what = "cannot show " + TaskId();
    Database records;
    Open(records, what);
    return Told(Find(records, TaskId(), what));
}

CommandResult RecordCommand::Update() const {
    const std::string what = "cannot change " + TaskId();
    if (!_source && !_converted && !_uid && !_code) {
        throw Failure({ExitCode::kUsage,
                       what,
                       "no option names a change",
                       "'vellumo record update --help' lists the options.",
                       {}});
    }
    Database records;
    Open(records, what);
    Task task = Find(records, TaskId(), what);
    ApplyTo(task);
    if (!records.Update(task)) {
        RefuseDatabase(what, core::SZF_THIRD_PARTY_DB_PATH);
    }
    return Told(task);
}

CommandResult RecordCommand::Delete() const {
    Database records;
    Open(records, "cannot delete records");
    for (const std::string& taskId : _taskIds) {
        if (!records.DeleteByTaskId(taskId)) {
            RefuseDatabase("cannot delete " + taskId, core::SZF_THIRD_PARTY_DB_PATH);
        }
        if (!Json()) {
            std::cout << Printable(taskId) << ": no longer recorded\n";
        }
    }
    CommandResult result{ExitCode::kDone};
    result.json["deleted"] = JsonArray(_taskIds);
    return result;
}

}  // namespace vellumo::cli
