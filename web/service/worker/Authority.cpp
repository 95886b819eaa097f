// SPDX-License-Identifier: Apache-2.0
#include "worker/Authority.h"

#include <navo/share.h>

#include <ctime>
#include <memory>

#include "loader/links/LinkTarget.h"
#include "login/AccountCheck.h"

namespace vellumo::web::worker {
namespace {

loader::Place::Links LinksOf(unsigned bits) {
    if ((bits & NAVO_SHARE_WIDE_LINKS) != 0) {
        return loader::Place::Links::kAnywhere;
    }
    return (bits & NAVO_SHARE_INSIDE_LINKS) != 0 ? loader::Place::Links::kInside
                                                 : loader::Place::Links::kNone;
}

// The parts of a share path, as the platform wants them.
struct Parts {
    explicit Parts(const std::string& sharePath)
        : share(loader::ShareOf(sharePath)), path(sharePath.substr(share.size() + 1)) {}
    std::string share;
    std::string path;
};

// The server's own trouble is told; everything else is "not found", whatever the reason.
bool IsTroubleOfServer(loader::Reason reason) {
    return reason == loader::Reason::kShareSettings || reason == loader::Reason::kNoRights;
}

}  // namespace

std::string Asker::SharePathOf(const std::string& path) const {
    if (!visitor) {
        if (path.size() < 2) {
            throw Refused::NotFound();
        }
        return path;
    }
    const loader::Link& link = visitor->link;
    if (link.isFolder) {
        return link.path + path;
    }
    if (path != link.path.substr(link.path.rfind('/'))) {
        throw Refused::NotFound();
    }
    return link.path;
}

Asker Authority::UserOf(const message::Question& question) const {
    const int64_t now = std::time(nullptr);
    const auto session = _sessions.Find(question.token, now);
    if (!session) {
        throw Refused({.status = 401, .code = "no-session"});
    }
    if (session->mustLookAgain) {
        if (!login::IsAccountInOrder(session->user, session->userId, _pamDirectory)) {
            _sessions.EndAllOf(session->user);
            throw Refused({.status = 401, .code = "no-session"});
        }
        _sessions.NoteLook(question.token, now);
    }
    return {session->user, session->userId};
}

Asker Authority::AskerOf(const message::Question& question) const {
    if (question.link.empty()) {
        return UserOf(question);
    }
    links::Visitor visitor = _visitors.Admit(question, std::time(nullptr));
    Asker asker{visitor.link.owner, visitor.link.ownerId};
    asker.visitor = std::move(visitor);
    return asker;
}

// Whoever asks for a right needs an Authority.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
Authority::Granted Authority::DocumentFor(const Asker& asker, const std::string& sharePath,
                                          const std::string& address) const {
    try {
        loader::Document document = asker.visitor ? loader::ResolveForVisitor(sharePath, asker.user)
                                                  : loader::Resolve(sharePath, asker.user);
        loader::OpenedPlace file = loader::OpenFor(document, address);
        return {std::move(document), std::move(file)};
    } catch (const loader::Failure& failure) {
        if (IsTroubleOfServer(failure.Details().reason)) {
            throw;
        }
        throw Refused::NotFound();
    }
}

bool Authority::IsAdmitted(const std::string& user, const std::string& sharePath,
                           const std::string& address) {
    const Parts parts(sharePath);
    const NAVOSHAREFILE file{parts.share.c_str(), parts.path.c_str(), user.c_str()};
    NAVOShareRefusal refusal = NAVO_SHARE_UNAVAILABLE;
    return NAVOShareAccessGet(&file, address.c_str(), &refusal) == 0 &&
           refusal == NAVO_SHARE_NOT_REFUSED;
}

// Whoever asks for a right needs an Authority.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
loader::Place Authority::FolderFor(const Asker& asker, const std::string& sharePath,
                                   const std::string& address) const {
    const Parts parts(sharePath);
    const NAVOSHAREFILE file{parts.share.c_str(), parts.path.c_str(), asker.user.c_str()};
    PNAVOSHAREROOT found = nullptr;
    if (!IsAdmitted(asker.user, sharePath, address) || NAVOShareRootGet(&file, &found) != 0) {
        throw Refused::NotFound();
    }
    const std::unique_ptr<NAVOSHAREROOT, decltype(&NAVOShareRootFree)> root(found,
                                                                            NAVOShareRootFree);
    return {root->szRoot, root->szPath,
            asker.visitor ? loader::Place::Links::kNone : LinksOf(root->links)};
}

}  // namespace vellumo::web::worker
