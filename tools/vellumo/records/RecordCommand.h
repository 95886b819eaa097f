// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_RECORDCOMMAND_H
#define VELLUMO_TOOLS_RECORDCOMMAND_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/ActionCommand.h"
#include "vellumo/ThirdPartyConvertDB.h"

namespace vellumo::cli {

// vellumo record: shows and changes the records of conversions for other packages.
class RecordCommand final : public ActionCommand {
public:
    explicit RecordCommand(CLI::App& app);

private:
    using Task = NAVO::VELLUMO::ThirdPartyConvertDB::Task;

    void AddCreate();
    void AddShow();
    void AddUpdate();
    void AddDelete();
    void AddTaskId(CLI::App* arguments);
    void AddData(CLI::App* arguments);

    CommandResult Create() const;
    CommandResult Show() const;
    CommandResult Update() const;
    CommandResult Delete() const;

    const std::string& TaskId() const { return _taskIds.front(); }
    // Overwrites the parts of `task` that options name.
    void ApplyTo(Task& task) const;
    CommandResult Told(const Task& task) const;

    std::vector<std::string> _taskIds;
    std::optional<std::string> _source;
    std::optional<std::string> _converted;
    std::optional<uint32_t> _uid;
    std::optional<int32_t> _code;
    std::string _user;
};

}  // namespace vellumo::cli

#endif
