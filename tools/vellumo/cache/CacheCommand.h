// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CACHECOMMAND_H
#define VELLUMO_TOOLS_CACHECOMMAND_H

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/ActionCommand.h"
#include "loader/documents/Document.h"

namespace vellumo::cli {

// vellumo cache: shows and removes the products that are kept of documents.
class CacheCommand final : public ActionCommand {
public:
    explicit CacheCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    CLI::Option* AddDocuments(CLI::App* arguments, const std::string& description);
    std::vector<loader::Document> Documents() const;
    std::set<std::string> DocumentsToClean() const;

    CommandResult List() const;
    CommandResult Size() const;
    CommandResult Clean() const;
    CommandResult Remove() const;
    CommandResult Collect() const;
    CommandResult Sweep() const;

    std::vector<std::string> _sharePaths;
    std::string _user;
    bool _recursive = false;
    bool _pdf = false;
    bool _thumbnail = false;
    std::optional<int64_t> _limit;
    int64_t _age;
    bool _dryRun = false;
};

}  // namespace vellumo::cli

#endif
