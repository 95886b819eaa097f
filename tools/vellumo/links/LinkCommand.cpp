// SPDX-License-Identifier: Apache-2.0
#include "links/LinkCommand.h"

#include <CLI/CLI.hpp>

#include <pwd.h>

#include <ctime>
#include <iomanip>
#include <iostream>
#include <limits>

#include "app/InvokingUser.h"
#include "app/Messages.h"
#include "convert/Times.h"
#include "loader/Duration.h"
#include "loader/Text.h"
#include "loader/links/LinkTarget.h"
#include "loader/links/Visits.h"
#include "loader/pool/Readiness.h"

namespace vellumo::cli {
namespace {

using loader::Link;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo link add --user ann /docs/plans               share a folder of ann's for good\n"
    "  vellumo link add --user ann --expires 7d --no-download /docs/a.docx\n"
    "                                                        for a week, and only to look at\n"
    "  vellumo link add --user ann --password-stdin /docs/a.docx < FILE\n"
    "                                                        with the password in FILE\n"
    "  vellumo link list --user ann                          list ann's links\n"
    "  vellumo link show 3                                   show who opened a link\n"
    "  vellumo link remove 3                                 remove it\n"
    "A visitor sees what the link's owner may read at that moment, in the linked folder and below\n"
    "it. The address of a link is that of the web service with /s/ and the link's token behind "
    "it.\n"
    "Whoever has the token has the link.";

constexpr const char* kWhatFails = "cannot use the sharing links";
constexpr int64_t kMostShown = 1000;
constexpr int kLabelWidth = 10;

// What every action needs.
struct Store {
    loader::LinkDatabase database;
    loader::LinkKey key;
    loader::Links links{database, key};
};

// Runs `step`; a failure of the database or of the key is one of this program.
template <typename Step>
CommandResult WithStore(Step step) {
    try {
        const Store store;
        return step(store);
    } catch (const std::runtime_error& error) {
        throw Failure({ExitCode::kDatabase,
                       kWhatFails,
                       error.what(),
                       "Check the folder /var/packages/Vellumo/etc and the space on its disk.",
                       {}});
    }
}

[[noreturn]] void RefuseUsage(const std::string& why, const std::string& next) {
    throw Failure({ExitCode::kUsage, "cannot make a link", why, next, {}});
}

[[noreturn]] void RefuseUnknown(int64_t id) {
    throw Failure({ExitCode::kNotFound,
                   "cannot find link " + std::to_string(id),
                   "there is no link with this number",
                   "'vellumo link list' lists them.",
                   {}});
}

// root cannot log in to the web service, and has no rights that could be passed on with a link.
const passwd& AccountOf(const std::string& user) {
    const passwd* const account = getpwnam(user.c_str());
    if (account == nullptr) {
        throw Failure({ExitCode::kBadInput,
                       "cannot make a link",
                       "the server knows no user '" + user + "'",
                       "'getent passwd' lists the accounts.",
                       {}});
    }
    if (account->pw_uid == 0) {
        RefuseUsage("root cannot be the owner of a link", "Name the owner with --user NAME.");
    }
    return *account;
}

std::string PasswordFromInput() {
    std::string password;
    std::getline(std::cin, password);
    if (password.empty() || password.size() > loader::kLongestPassword) {
        RefuseUsage("the first line of the standard input is no password of 1 to " +
                        std::to_string(loader::kLongestPassword) + " bytes",
                    "Write the password to the standard input, and an end of line.");
    }
    return password;
}

// When a link ends: a time from now on, or a date.
int64_t EndOf(const std::string& text, int64_t now) {
    const auto duration = loader::DurationOf(text);
    const auto end = duration ? now + duration->count() : TimeOf(text, now).value_or(0);
    if (end <= now || end > std::numeric_limits<uint32_t>::max()) {
        RefuseUsage("'" + text + "' is no time that is still to come",
                    "Write it as 12h, 7d, 2026-12-24 or '2026-12-24 18:00'.");
    }
    return end;
}

// "" when it is not known: the server's key has changed since the link was made.
std::string AddressOf(const Link& link, const loader::Links& links) {
    const std::string token = links.TokenOf(link);
    return token.empty() ? "" : "/s/" + token;
}

Json::Value ToJson(const Link& link, const loader::Links& links) {
    Json::Value value;
    value["id"] = Json::Int64{link.id};
    const std::string address = AddressOf(link, links);
    value["address"] = address.empty() ? Json::Value() : Json::Value(address);
    value["owner"] = link.owner;
    value["path"] = link.path;
    value["kind"] = link.isFolder ? "folder" : "file";
    value["label"] = link.label;
    value["state"] = loader::NameOf(loader::StateOf(link, std::time(nullptr)));
    value["password"] = !link.passwordHash.empty();
    value["expires"] = link.expires == 0 ? Json::Value() : loader::Date(link.expires);
    value["maxViews"] = link.mostViews == 0 ? Json::Value() : Json::Int64{link.mostViews};
    value["views"] = Json::Int64{link.views};
    value["download"] = link.mayDownload;
    value["made"] = loader::Date(link.made);
    return value;
}

void PrintColumns(const std::string& id, const std::string& owner, const std::string& state,
                  const std::string& views, const std::string& ends, const std::string& path) {
    std::cout << std::right << std::setw(5) << id << "  " << std::left << std::setw(12) << owner
              << std::setw(9) << state << std::right << std::setw(9) << views << "  " << std::left
              << std::setw(22) << ends << Printable(path) << '\n';
}

std::string ViewsOf(const Link& link) {
    const std::string most = link.mostViews == 0 ? "" : '/' + std::to_string(link.mostViews);
    return std::to_string(link.views) + most;
}

void Print(const std::vector<Link>& links) {
    if (links.empty()) {
        std::cout << "There are no links.\n";
        return;
    }
    PrintColumns("ID", "OWNER", "STATE", "VIEWS", "ENDS", "PATH");
    for (const Link& link : links) {
        PrintColumns(std::to_string(link.id), link.owner,
                     loader::NameOf(loader::StateOf(link, std::time(nullptr))), ViewsOf(link),
                     link.expires == 0 ? "never" : loader::Date(link.expires), link.path);
    }
}

void PrintFact(const std::string& label, const std::string& value) {
    std::cout << std::left << std::setw(kLabelWidth) << label << Printable(value) << '\n';
}

void Print(const Link& link, const loader::Links& links) {
    PrintFact("link", std::to_string(link.id));
    const std::string address = AddressOf(link, links);
    PrintFact("address", address.empty() ? "not known: the key has changed since" : address);
    PrintFact("path", link.path);
    PrintFact("owner", link.owner);
    PrintFact("label", link.label);
    PrintFact("state", loader::NameOf(loader::StateOf(link, std::time(nullptr))));
    PrintFact("ends", link.expires == 0 ? "never" : loader::Date(link.expires));
    PrintFact("views", ViewsOf(link));
    PrintFact("password", link.passwordHash.empty() ? "no" : "yes");
    PrintFact("download", link.mayDownload ? "yes" : "no");
}

void AddUser(CLI::App* arguments, std::string& user, const char* description) {
    arguments->add_option("--user", user, description)->option_text("NAME");
}

}  // namespace

LinkCommand::LinkCommand(CLI::App& app)
    : ActionCommand(
          app.add_subcommand("link", "Make, list and remove sharing links of the web service")) {
    Arguments()->footer(kExamples);
    Arguments()->require_subcommand(0, 1);
    CLI::App* const list = AddAction("list", "List the links, the latest first (the default)",
                                     [this] { return List(); });
    AddUser(list, _user, "Only the links of this user");
    AddAdd();
    AddAction("show", "Show a link, and who opened what through it", [this] { return Show(); })
        ->add_option("ID", _id, "The link's number")
        ->required()
        ->check(CLI::PositiveNumber)
        ->option_text("");
    AddAction("remove", "Remove links, and what is known of their visits",
              [this] { return Remove(); })
        ->add_option("ID", _ids, "The links' numbers")
        ->required()
        ->check(CLI::PositiveNumber)
        ->option_text("...");
}

void LinkCommand::AddAdd() {
    CLI::App* const add =
        AddAction("add", "Make a link to a document or a folder", [this] { return Add(); });
    add->add_option("SHARE_PATH", _sharePath, "What is shared")->required()->option_text("");
    AddUser(add, _user, "The owner, whose rights visitors have; default: you");
    add->add_option("--label", _label, "A title, which visitors see")->option_text("TEXT");
    add->add_option("--expires", _expires, "The link ends then: 12h or 7d from now, or a date")
        ->option_text("TIME");
    add->add_option("--max-views", _mostViews, "The link ends after N views")
        ->check(CLI::PositiveNumber)
        ->option_text("N");
    add->add_flag("--password-stdin", _takesPassword,
                  "Visitors need a password, the first line of the standard input");
    add->add_flag("--no-download", _noDownload, "Visitors get the PDF, and not the original");
}

CommandResult LinkCommand::Run(bool json) {
    loader::CheckRights(kWhatFails);
    return ActionCommand::Run(json);
}

loader::LinkChange LinkCommand::Terms(int64_t now) const {
    loader::LinkChange terms;
    if (_label.size() > loader::kLongestLabel) {
        RefuseUsage("the label has more than " + std::to_string(loader::kLongestLabel) + " bytes",
                    "Give a shorter one.");
    }
    terms.label = _label;
    terms.mostViews = _mostViews;
    terms.mayDownload = !_noDownload;
    if (!_expires.empty()) {
        terms.expires = EndOf(_expires, now);
    }
    if (_takesPassword) {
        terms.password = PasswordFromInput();
    }
    return terms;
}

CommandResult LinkCommand::Add() const {
    const int64_t now = std::time(nullptr);
    const passwd& account = AccountOf(_user.empty() ? InvokingUser() : _user);
    Link link;
    link.owner = account.pw_name;
    link.ownerId = account.pw_uid;
    link.path = _sharePath;
    const loader::LinkChange terms = Terms(now);
    link.isFolder = loader::IsSharedFolder(_sharePath, link.owner);
    return WithStore([&](const Store& store) {
        store.links.Add(link, terms, now);
        const Link made = *store.links.Find(link.id);
        CommandResult result{ExitCode::kDone};
        result.json["link"] = ToJson(made, store.links);
        if (!Json()) {
            Print(made, store.links);
        }
        return result;
    });
}

CommandResult LinkCommand::List() const {
    return WithStore([this](const Store& store) {
        std::vector<Link> links = store.links.List();
        std::erase_if(links,
                      [this](const Link& link) { return !_user.empty() && link.owner != _user; });
        CommandResult result{ExitCode::kDone};
        result.json["links"] = Json::Value(Json::arrayValue);
        for (const Link& link : links) {
            result.json["links"].append(ToJson(link, store.links));
        }
        if (!Json()) {
            Print(links);
        }
        return result;
    });
}

CommandResult LinkCommand::Show() const {
    return WithStore([this](const Store& store) {
        const auto link = store.links.Find(_id);
        if (!link) {
            RefuseUnknown(_id);
        }
        CommandResult result{ExitCode::kDone};
        result.json["link"] = ToJson(*link, store.links);
        result.json["visits"] = Json::Value(Json::arrayValue);
        if (!Json()) {
            Print(*link, store.links);
        }
        for (const auto& opening : loader::Visits(store.database).OpeningsOf(_id, kMostShown)) {
            Json::Value visit;
            visit["time"] = loader::Date(opening.time);
            visit["address"] = opening.address;
            visit["path"] = opening.path;
            result.json["visits"].append(visit);
            if (!Json()) {
                PrintFact("opened", loader::Date(opening.time) + "  " + opening.address + "  " +
                                        opening.path);
            }
        }
        return result;
    });
}

CommandResult LinkCommand::Remove() const {
    return WithStore([this](const Store& store) {
        CommandResult result{ExitCode::kDone};
        for (const int64_t id : _ids) {
            if (!store.links.Remove(id)) {
                RefuseUnknown(id);
            }
            if (!Json()) {
                std::cout << "link " << id << " removed\n";
            }
        }
        result.json["removed"] = Json::UInt64{_ids.size()};
        return result;
    });
}

}  // namespace vellumo::cli
