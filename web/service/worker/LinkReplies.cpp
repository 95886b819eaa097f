// SPDX-License-Identifier: Apache-2.0
#include "worker/LinkReplies.h"

#include <ctime>
#include <sstream>

#include "loader/Problem.h"
#include "loader/links/LinkTarget.h"
#include "worker/Folder.h"
#include "worker/JsonText.h"

namespace vellumo::web::worker {
namespace {

using loader::Link;
using message::LinkTerms;
using message::Question;

constexpr int64_t kMostVisits = 1000;

// A path without its first slash, as a part of an address of the page.
std::string HrefOf(const std::string& sharePath) {
    std::string href;
    std::istringstream components(sharePath.substr(1));
    for (std::string component; std::getline(components, component, '/');) {
        href += (href.empty() ? "" : "/") + Encoded(component);
    }
    return href;
}

Json::Value ValueOf(const Link& link, const Authority& authority) {
    Json::Value value;
    value["id"] = Json::Int64{link.id};
    value["token"] = authority.Links().TokenOf(link);
    value["path"] = Shown(link.path);
    value["href"] = HrefOf(link.path);
    value["kind"] = link.isFolder ? "folder" : "file";
    value["label"] = Shown(link.label);
    value["state"] = loader::NameOf(loader::StateOf(link, std::time(nullptr)));
    value["password"] = !link.passwordHash.empty();
    value["expires"] = Json::Int64{link.expires};
    value["maxViews"] = Json::Int64{link.mostViews};
    value["views"] = Json::Int64{link.views};
    value["download"] = link.mayDownload;
    value["made"] = Json::Int64{link.made};
    return value;
}

template <typename Value>
void Take(const Question& question, LinkTerms::Member member, const Value& given, auto& wanted) {
    if ((question.terms.given & member) != 0) {
        wanted = given;
    }
}

loader::LinkChange ChangeIn(const Question& question) {
    if (question.label.size() > loader::kLongestLabel ||
        question.password.size() > loader::kLongestPassword) {
        throw Refused({.status = 400, .code = "bad-content"});
    }
    const LinkTerms& terms = question.terms;
    loader::LinkChange change;
    Take(question, LinkTerms::kLabel, question.label, change.label);
    Take(question, LinkTerms::kPassword, question.password, change.password);
    Take(question, LinkTerms::kExpires, int64_t{terms.expires}, change.expires);
    Take(question, LinkTerms::kMostViews, int64_t{terms.mostViews}, change.mostViews);
    Take(question, LinkTerms::kDownload, terms.mayDownload != 0, change.mayDownload);
    Take(question, LinkTerms::kRevoked, terms.isRevoked != 0, change.isRevoked);
    return change;
}

Link OwnLink(const Asker& asker, const Question& question, const Authority& authority) {
    auto link = authority.Links().Find(int64_t{question.id});
    if (!link || link->owner != asker.user || link->ownerId != asker.userId) {
        throw Refused::NotFound();
    }
    return std::move(*link);
}

bool IsFolder(const Asker& asker, const Question& question) {
    try {
        return loader::IsSharedFolder(question.path, asker.user, question.address);
    } catch (const loader::Failure& failure) {
        const loader::Reason reason = failure.Details().reason;
        if (reason == loader::Reason::kShareSettings || reason == loader::Reason::kNoRights) {
            throw;  // the server's own trouble
        }
        throw Refused::NotFound();
    }
}

}  // namespace

std::string LinksOf(const Asker& asker, const Authority& authority) {
    Json::Value value;
    value["links"] = Json::Value(Json::arrayValue);
    for (const Link& link : authority.Links().ListOf(asker.user, asker.userId)) {
        value["links"].append(ValueOf(link, authority));
    }
    return JsonText(value);
}

std::string AddLink(const Asker& asker, const Question& question, const Authority& authority) {
    const loader::LinkChange terms = ChangeIn(question);
    Link link;
    link.owner = asker.user;
    link.ownerId = asker.userId;
    link.path = asker.SharePathOf(question.path);
    link.isFolder = IsFolder(asker, question);
    authority.Links().Add(link, terms, std::time(nullptr));
    return JsonText(ValueOf(*authority.Links().Find(link.id), authority));
}

std::string ChangeLink(const Asker& asker, const Question& question, const Authority& authority) {
    const Link link = OwnLink(asker, question, authority);
    authority.Links().Change(link.id, ChangeIn(question));
    return JsonText(ValueOf(OwnLink(asker, question, authority), authority));
}

std::string RemoveLink(const Asker& asker, const Question& question, const Authority& authority) {
    const Link link = OwnLink(asker, question, authority);
    authority.Links().Remove(link.id);
    return JsonText(Json::Value(Json::objectValue));
}

std::string VisitsOf(const Asker& asker, const Question& question, const Authority& authority) {
    const Link link = OwnLink(asker, question, authority);
    Json::Value value;
    value["visits"] = Json::Value(Json::arrayValue);
    for (const loader::Opening& opening : authority.Visits().OpeningsOf(link.id, kMostVisits)) {
        Json::Value visit;
        visit["time"] = Json::Int64{opening.time};
        visit["address"] = opening.address;
        visit["path"] = Shown(opening.path);
        value["visits"].append(visit);
    }
    return JsonText(value);
}

}  // namespace vellumo::web::worker
