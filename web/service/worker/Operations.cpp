// SPDX-License-Identifier: Apache-2.0
#include "worker/Operations.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <ctime>

#include "http/Response.h"
#include "loader/cache/KeptProducts.h"
#include "loader/cache/ServedProduct.h"
#include "support/Directory.h"
#include "worker/AsUser.h"
#include "worker/Converting.h"
#include "worker/Folder.h"
#include "worker/JsonText.h"
#include "worker/LinkReplies.h"
#include "worker/Listing.h"

namespace vellumo::web::worker {
namespace {

using message::Answer;
using message::Kind;
using message::Product;
using message::Question;
using support::Descriptor;

constexpr uint16_t kOk = 200;

Reply JsonReply(const std::string& text) {
    return {{.status = 200, .type = http::kJson}, FileWith(text)};
}

// Differs for each version of each file.
std::string TagOf(const struct stat& status) {
    return std::to_string(status.st_ino) + '-' + std::to_string(status.st_mtim.tv_sec) + '.' +
           std::to_string(status.st_mtim.tv_nsec) + '-' + std::to_string(status.st_size);
}

// Thumbnails are kept as PNG or as JPEG under the same name.
std::string ImageType(const Descriptor& file) {
    std::array<unsigned char, 2> begin{};
    constexpr std::array<unsigned char, 2> kJpeg{0xFF, 0xD8};
    const ssize_t count = pread(file.Get(), begin.data(), begin.size(), 0);
    const bool isJpeg = count == static_cast<ssize_t>(begin.size()) && begin == kJpeg;
    return isJpeg ? "image/jpeg" : "image/png";
}

Reply KeptReply(const Authority::Granted& granted, Product product, const Question& question) {
    const auto cache = loader::OpenCache("cannot look for products");
    try {
        auto served = loader::OpenServed(granted.document, AssignmentFor(product).Stream(), *cache,
                                         question.address);
        if (!served) {
            throw Refused({.status = 404, .code = "not-ready"});
        }
        Answer answer{.status = 200, .tag = TagOf(served->product)};
        answer.type = product == Product::kPdf ? "application/pdf" : ImageType(served->file);
        return {std::move(answer), std::move(served->file)};
    } catch (const loader::Failure&) {
        throw Refused::NotFound();  // the right was taken away since it was checked
    }
}

Reply OriginalReply(const Authority::Granted& granted) {
    Descriptor file(
        open(granted.file.Name().c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        !support::IsSameFile(status, granted.file.Status())) {
        throw Refused::NotFound();
    }
    const std::string& path = granted.document.sharePath;
    Answer answer{.status = 200, .type = "application/octet-stream", .tag = TagOf(status)};
    answer.name = path.substr(path.rfind('/') + 1);
    return {std::move(answer), std::move(file)};
}

Reply MeReply(const Asker& asker) {
    Json::Value value;
    if (asker.visitor) {
        const loader::Link& link = asker.visitor->link;
        value["link"]["label"] = Shown(link.label);
        value["link"]["name"] = Shown(link.path.substr(link.path.rfind('/') + 1));
        value["link"]["kind"] = link.isFolder ? "folder" : "file";
        value["link"]["download"] = link.mayDownload;
    } else {
        value["user"] = Shown(asker.user);
    }
    return JsonReply(JsonText(value));
}

// A visitor's opening is counted, and everybody's is logged. A download of the original counts too:
// a link that may be viewed once would give the document without end otherwise. Returns the token
// of a visitor's new visit, else "".
std::string NoteOpening(Asker& asker, const Authority::Granted& granted, const Question& question,
                        const Authority& authority) {
    const int64_t now = std::time(nullptr);
    const bool isAsked = question.kind == Kind::kView;
    const auto manner = isAsked ? loader::Manner::kAsked : loader::Manner::kFetched;
    const std::string& path = granted.document.sharePath;
    View view{.sharePath = path, .user = asker.user, .address = question.address};
    std::string token;
    if (asker.visitor) {
        token =
            authority.Visitors().NoteOpening(*asker.visitor, {now, question.address, path}, manner);
        view.isVisitor = true;
        view.who = asker.visitor->visit->hash;
    } else {
        view.who = loader::HashOfToken(question.token);
    }
    if (question.kind != Kind::kOriginal) {
        authority.Views().Note(view, granted.file, now, manner);
    }
    return token;
}

Reply Noted(Reply reply, Asker& asker, const Authority::Granted& granted, const Question& question,
            const Authority& authority) {
    reply.answer.token = NoteOpening(asker, granted, question, authority);
    return reply;
}

// Opening a document means its PDF; the page also asks for thumbnails of all that it lists. What
// cannot be shown is not opened.
Reply ViewReply(Asker& asker, const Authority::Granted& granted, const Question& question,
                const Authority& authority) {
    Reply reply{StateOf(granted, question.product, question.address)};
    const bool isShown = reply.answer.status == 200 || reply.answer.status == 202;
    if (!isShown || question.product != Product::kPdf) {
        return reply;
    }
    return Noted(std::move(reply), asker, granted, question, authority);
}

Reply PlaceReply(const Asker& asker, const Authority::Granted& granted, const Question& question,
                 const Authority& authority) {
    const ReadDocument document{asker.user, asker.userId, granted.document.sharePath};
    if (question.kind == Kind::kSetPlace) {
        authority.Places().Note(document, question.page, std::time(nullptr));
        return JsonReply("{}");
    }
    const auto page = authority.Places().PageAt(document);
    Json::Value value;
    value["page"] = page ? Json::Value(*page) : Json::Value::null;
    return JsonReply(JsonText(value));
}

Reply DocumentReply(Asker& asker, const Question& question, const Authority& authority,
                    const Descriptor& connection) {
    const bool isForbidden = asker.visitor && !asker.visitor->link.mayDownload;
    if (question.kind == Kind::kOriginal && isForbidden) {
        throw Refused::NotFound();
    }
    Authority::Granted granted =
        authority.DocumentFor(asker, asker.SharePathOf(question.path), question.address);
    switch (question.kind) {
        case Kind::kThumbnail:
            return KeptReply(granted, Product::kThumbnail, question);
        case Kind::kPdf:
            return Noted(KeptReply(granted, Product::kPdf, question), asker, granted, question,
                         authority);
        case Kind::kOriginal:
            return Noted(OriginalReply(granted), asker, granted, question, authority);
        case Kind::kView:
            return ViewReply(asker, granted, question, authority);
        case Kind::kOpen:
            return {StateOf(granted, question.product, question.address)};
        case Kind::kPlace:
        case Kind::kSetPlace:
            return PlaceReply(asker, granted, question, authority);
        case Kind::kConvert:
            return {Convert(std::move(granted), question.product, question.address, connection)};
        default:
            return {{.status = 400, .code = "bad-question"}};
    }
}

// What is missing, and what the asker has no right to have, are the same. A document that is as it
// was in a list has the same version as there.
message::PictureState PictureOf(const Asker& asker, const std::string& path,
                                const std::string& address, const Authority& authority) {
    try {
        const auto granted = authority.DocumentFor(asker, asker.SharePathOf(path), address);
        const Answer state = StateOf(granted, Product::kThumbnail, address);
        return {state.status, state.status == kOk ? "" : state.code,
                VersionOf(EntryOfFile("", granted.file.Status()))};
    } catch (const Refused& refused) {
        return {refused.Answer().status, refused.Answer().code};
    }
}

Reply VisibleReply(const Asker& asker, const Question& question, const Authority& authority) {
    Reply reply{{.status = kOk}};
    for (const std::string& path : question.paths) {
        reply.answer.pictures.push_back(PictureOf(asker, path, question.address, authority));
    }
    return reply;
}

Reply PersonsReply(const Asker& asker, const Question& question, const Authority& authority) {
    switch (question.kind) {
        case Kind::kShares:
            return JsonReply(SharesFor(asker, question, authority));
        case Kind::kLinks:
            return JsonReply(LinksOf(asker, authority));
        case Kind::kAddLink:
            return JsonReply(AddLink(asker, question, authority));
        case Kind::kChangeLink:
            return JsonReply(ChangeLink(asker, question, authority));
        case Kind::kRemoveLink:
            return JsonReply(RemoveLink(asker, question, authority));
        default:
            return JsonReply(VisitsOf(asker, question, authority));
    }
}

bool IsOfPersons(Kind kind) {
    return kind == Kind::kShares || kind >= Kind::kLinks;
}

Reply ReplyTo(const Question& question, const Authority& authority, const Descriptor& connection) {
    if (question.kind == Kind::kLogout) {
        authority.Sessions().End(question.token);
        return {{.status = 200}};
    }
    if (question.kind == Kind::kLogin || question.kind == Kind::kProxyLogin) {
        return {{.status = 400, .code = "bad-question"}};
    }
    if (question.kind == Kind::kUnlock) {
        return {
            {.status = 200, .token = authority.Visitors().Unlock(question, std::time(nullptr))}};
    }
    Asker asker = authority.AskerOf(question);
    if (question.kind == Kind::kLogoutAll) {
        authority.Sessions().EndAllOf(asker.user);
        return {{.status = 200}};
    }
    if (question.kind == Kind::kMe) {
        return MeReply(asker);
    }
    if (IsOfPersons(question.kind)) {
        if (asker.visitor) {
            throw Refused::NotFound();
        }
        return PersonsReply(asker, question, authority);
    }
    if (question.kind == Kind::kList) {
        return JsonReply(PageOf(asker, question, authority));
    }
    if (question.kind == Kind::kVisible) {
        return VisibleReply(asker, question, authority);
    }
    return DocumentReply(asker, question, authority, connection);
}

}  // namespace

Reply AnswerTo(const Question& question, const Authority& authority, const Descriptor& connection) {
    try {
        return ReplyTo(question, authority, connection);
    } catch (const Refused& refused) {
        return {refused.Answer()};
    } catch (const loader::Failure& failure) {
        syslog(LOG_ERR, "%s: %s", failure.Details().what.c_str(), failure.Details().why.c_str());
    } catch (const std::exception& error) {
        syslog(LOG_ERR, "cannot answer: %s", error.what());
    }
    return {{.status = 503, .retryAfter = 5, .code = "server-trouble"}};
}

}  // namespace vellumo::web::worker
