// SPDX-License-Identifier: Apache-2.0
#include "documents/CheckCommand.h"

#include <CLI/CLI.hpp>

#include <navo/acl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <optional>

#include "app/Messages.h"
#include "app/Reasons.h"
#include "loader/Text.h"
#include "loader/documents/Access.h"
#include "vellumo/utils_user_group.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo check /docs/report.docx --user ann          may ann read it?\n"
    "  vellumo check /docs/report.docx --user 'CORP\\ann'   the same for a user of a domain\n"
    "  vellumo check /docs/a.odt --user ann --address 192.168.1.5    from that host?\n"
    "  vellumo check /home/a.odt --user ann --json         in ann's home folder; as JSON\n"
    "Samba's settings of the share decide ('valid users', 'veto files' and others), and the "
    "kernel\n"
    "does, with the ids of that user, so access control lists and the permissions of all folders\n"
    "above count. The exit status is 0 for yes and 13 for no; a 'no' names the setting, or the\n"
    "folder or file, that denies access. Needs the rights of root.";

// The place on the path to a document that denies access.
struct Refusal {
    std::string place;
    const char* permission;  // the missing permission: "search" (of a folder) or "read"
};

void NeedRoot() {
    if (geteuid() != 0) {
        throw Failure({ExitCode::kFailed,
                       "cannot check another user's permissions",
                       "only root can act as somebody else",
                       "Run the command with sudo.",
                       {}});
    }
}

std::string AccountOf(const std::string& user) {
    std::string account = core::GetRealUsername(user.c_str());
    unsigned int uid = 0;
    if (!core::UserToUID(account, uid)) {
        throw Failure({ExitCode::kBadInput,
                       "cannot check the permissions of '" + user + "'",
                       "the server knows no such user",
                       "'getent passwd' lists the accounts.",
                       {}});
    }
    return account;
}

bool Has(unsigned permission, const std::string& path) {
    unsigned mask = 0;
    return NAVOACLPermGet(path.c_str(), &mask) == 0 && (mask & permission) != 0;
}

// Walks down from "/" with the ids of the user. The process keeps these ids: only the output is
// left to do, which needs no other rights.
std::optional<Refusal> FindRefusal(const std::string& realPath, const std::string& user) {
    if (!ResetCredentialsByName(user.c_str(), false)) {
        throw Failure({ExitCode::kFailed,
                       "cannot act as " + user,
                       std::strerror(errno),
                       "Run the command as the real root; the device view of an ordinary user has "
                       "no other users.",
                       {}});
    }
    for (size_t end = 0; end != std::string::npos; end = realPath.find('/', end + 1)) {
        const std::string folder = realPath.substr(0, end == 0 ? 1 : end);
        if (!Has(NAVO_ACL_EXECUTE, folder)) {
            return Refusal{folder, "search"};
        }
    }
    return Has(NAVO_ACL_READ, realPath) ? std::nullopt : std::optional(Refusal{realPath, "read"});
}

Refusal ExplainRefusal(const loader::Document& document) {
    const auto refusal = FindRefusal(document.realPath, document.user);
    if (!refusal) {
        throw Failure(
            {ExitCode::kFailed,
             "cannot find out why " + document.user + " may not read " + document.sharePath,
             "the permissions changed meanwhile, or the system log has the reason",
             "Try again.",
             {}});
    }
    return *refusal;
}

Problem ToProblem(const loader::Document& document, const Refusal& refusal) {
    const bool isFolder = refusal.permission == std::string("search");
    return {
        ExitCode::kDenied,
        document.user + " may not read " + document.sharePath,
        (isFolder ? "may not pass through the folder " : "may not read the file ") + refusal.place,
        "This shows who may: getfacl -p " + loader::ShellWord(refusal.place),
        {}};
}

Json::Value ToJson(const loader::Document& document) {
    Json::Value value(Json::objectValue);
    value["sharePath"] = document.sharePath;
    value["user"] = document.user;
    value["realPath"] = document.realPath;
    value["mayRead"] = true;
    value["refusedBy"] = Json::Value();
    return value;
}

// A "no", and what it is for programs.
struct Denial {
    Problem problem;
    Json::Value refusedBy;
};

Denial DenialByKernel(const loader::Document& document) {
    const Refusal refusal = ExplainRefusal(document);
    Json::Value by(Json::objectValue);
    by["path"] = refusal.place;
    by["permission"] = refusal.permission;
    return {ToProblem(document, refusal), by};
}

Denial DenialBySetting(const loader::Document& document, const loader::Problem& reason) {
    Json::Value by(Json::objectValue);
    by["share"] = loader::SectionOf(document);
    by["setting"] = loader::SettingOf(reason.reason);
    Denial denial{InOwnTerms(reason), by};
    denial.problem.code = ExitCode::kDenied;
    return denial;
}

// Returns nothing when the user may read the document.
std::optional<Denial> FindDenial(const loader::Document& document, const std::string& address) {
    try {
        loader::CheckAccess(document, address);
        return std::nullopt;
    } catch (const loader::Failure& failure) {
        const loader::Problem& problem = failure.Details();
        // The walk for the place of the refusal also explains why nobody else's ids can be taken.
        if (problem.reason == loader::Reason::kDenied ||
            problem.reason == loader::Reason::kNoRights) {
            return DenialByKernel(document);
        }
        if (loader::SettingOf(problem.reason) == nullptr) {
            throw;
        }
        return DenialBySetting(document, problem);
    }
}

}  // namespace

CheckCommand::CheckCommand(CLI::App& app)
    : Command(app.add_subcommand("check", "Show whether a user may read a document")) {
    Arguments()->footer(kExamples);
    Arguments()
        ->add_option("SHARE_PATH", _sharePath, "The document, as in /docs/report.docx")
        ->required()
        ->option_text(" ");
    Arguments()
        ->add_option("--user", _user, "The user who wants to read it")
        ->required()
        ->option_text("NAME");
    Arguments()
        ->add_option("--address", _address,
                     "The address of the host that asks, for 'hosts allow' and 'hosts deny';\n"
                     "default: these are not asked")
        ->option_text("ADDRESS");
}

CommandResult CheckCommand::Run(bool json) {
    NeedRoot();
    const loader::Document document = loader::Resolve(_sharePath, AccountOf(_user));
    CommandResult result{ExitCode::kDone, ToJson(document)};
    const auto denial = FindDenial(document, _address);
    if (!denial) {
        if (!json) {
            std::cout << Printable(document.user + " may read " + document.sharePath) << '\n';
        }
        return result;
    }
    if (!json) {
        Print(std::cerr, denial->problem);
    }
    result.FailWith(denial->problem);
    result.json["mayRead"] = false;
    result.json["refusedBy"] = denial->refusedBy;
    return result;
}

}  // namespace vellumo::cli
