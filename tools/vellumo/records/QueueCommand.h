// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_QUEUECOMMAND_H
#define VELLUMO_TOOLS_QUEUECOMMAND_H

#include <cstdint>
#include <string>
#include <vector>

#include "app/ActionCommand.h"

namespace vellumo::cli {

// vellumo queue: shows and changes the queue of pending work.
class QueueCommand final : public ActionCommand {
public:
    explicit QueueCommand(CLI::App& app);

private:
    void AddList();
    void AddAdd();
    void AddNext();
    void AddDone();
    void AddHas();
    void AddUser(CLI::App* arguments);

    CommandResult List() const;
    CommandResult Append() const;
    CommandResult Next() const;
    CommandResult Finish() const;
    CommandResult Has() const;

    std::vector<std::string> _sharePaths;
    std::vector<std::string> _ids;
    std::string _user;
    bool _folder = false;
    int32_t _op = 0;
    int32_t _type = 0;
    uint32_t _limit = 0;
};

}  // namespace vellumo::cli

#endif
