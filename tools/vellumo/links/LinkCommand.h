// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_LINKCOMMAND_H
#define VELLUMO_TOOLS_LINKCOMMAND_H

#include <cstdint>
#include <string>
#include <vector>

#include "app/ActionCommand.h"
#include "loader/links/Links.h"

namespace vellumo::cli {

// vellumo link: makes, shows and removes the sharing links of the web service.
class LinkCommand : public ActionCommand {
public:
    explicit LinkCommand(CLI::App& app);
    CommandResult Run(bool json) override;

private:
    void AddAdd();
    CommandResult Add() const;
    CommandResult List() const;
    CommandResult Show() const;
    CommandResult Remove() const;
    loader::LinkChange Terms(int64_t now) const;

    std::string _sharePath;
    std::string _user;
    std::string _label;
    std::string _expires;
    int64_t _mostViews = 0;
    bool _takesPassword = false;
    bool _noDownload = false;
    int64_t _id = 0;
    std::vector<int64_t> _ids;
};

}  // namespace vellumo::cli

#endif
