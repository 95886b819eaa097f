// SPDX-License-Identifier: Apache-2.0
#include "worker/Listing.h"

#include "loader/documents/FolderRules.h"
#include "loader/documents/Shares.h"
#include "worker/AsUser.h"
#include "worker/Folder.h"
#include "worker/JsonText.h"

namespace vellumo::web::worker {
namespace {

constexpr const char* kHomes = "homes";
constexpr const char* kHome = "home";
constexpr int64_t kNanosecondsInMs = 1'000'000;

// The shares to which Samba's lists admit the user, with their folders.
std::vector<std::pair<std::string, loader::Place>> AdmittedShares(const Asker& asker,
                                                                  const std::string& address,
                                                                  const Authority& authority) {
    std::vector<std::pair<std::string, loader::Place>> admitted;
    for (const loader::Share& share : loader::Shares()) {
        const std::string name = share.name == kHomes ? kHome : share.name;
        try {
            admitted.emplace_back(name, authority.FolderFor(asker, '/' + name, address));
        } catch (const Refused&) {
            continue;
        }
    }
    return admitted;
}

bool MayList(const loader::Place& folder) {
    const auto found = loader::OpenedPlace::Open(folder, loader::LastLink::kFollowed);
    return found && S_ISDIR(found.Status().st_mode) && found.IsReadable();
}

Json::Value ValueOf(const Entry& entry) {
    Json::Value value;
    value["name"] = Shown(entry.name);
    value["href"] = Encoded(entry.name);
    value["kind"] = entry.isFolder ? "folder" : "file";
    value["time"] = Json::Int64{entry.time / kNanosecondsInMs};
    if (!entry.isFolder) {
        value["size"] = Json::UInt64{entry.size};
        value["version"] = VersionOf(entry);
        value["viewable"] = loader::IsConvertible(entry.name);
    }
    return value;
}

std::optional<Entry> EntryBefore(const std::string& cursor) {
    if (cursor.empty()) {
        return std::nullopt;
    }
    auto entry = Order::EntryAt(cursor);
    if (!entry) {
        throw Refused({.status = 400, .code = "bad-cursor"});
    }
    return entry;
}

// The entries of a folder that the asker is shown, one after the other.
class ShownEntries {
public:
    // `most`: how many may be needed.
    ShownEntries(const Asker& asker, const message::Question& question, const Authority& authority,
                 const Order& order, size_t most)
        : _user(asker.user),
          _address(question.address),
          _sharePath(asker.SharePathOf(question.path)),
          _folder(authority.FolderFor(asker, _sharePath, _address)),
          _order(order),
          _after(EntryBefore(question.cursor)),
          _most(most) {}

    // Nothing after the last one.
    std::optional<Entry> Next() {
        for (;;) {
            if (_next < _part.entries.size()) {
                Entry& entry = _part.entries[_next++];
                if (IsAdmitted(entry)) {
                    return std::move(entry);
                }
            } else if (_part.isLast) {
                return std::nullopt;
            } else {
                Fetch();
            }
        }
    }

private:
    // Asked only about what is shown: each question reads Samba's configuration.
    bool IsAdmitted(const Entry& entry) const {
        return Authority::IsAdmitted(_user, _sharePath + '/' + entry.name, _address);
    }

    // Twice as many each time: Samba's lists may hide all but a few.
    void Fetch() {
        const auto packed = AsUser(_user, [this] {
            const auto part = PartOf(_folder, _order, _after, _most);
            return part ? '+' + Packed(*part) : std::string("-");
        });
        if (!packed) {
            throw Refused({.status = 503, .retryAfter = 1, .code = "try-again"});
        }
        auto part = packed->starts_with('+') ? Unpacked(packed->substr(1)) : std::nullopt;
        if (!part) {
            throw Refused::NotFound();
        }
        _part = std::move(*part);
        _next = 0;
        _most *= 2;
        if (!_part.entries.empty()) {
            _after = _part.entries.back();
        }
    }

    const std::string _user;
    const std::string _address;
    const std::string _sharePath;
    const loader::Place _folder;
    const Order _order;
    std::optional<Entry> _after;
    size_t _most;
    Part _part{{}, false};
    size_t _next = 0;
};

Json::Value EmptyPage() {
    Json::Value page;
    page["entries"] = Json::Value(Json::arrayValue);
    page["next"] = Json::Value::null;
    return page;
}

// What a visitor of a link to a file sees: the file, and no other file of its folder.
std::string PageOfOneFile(const Asker& asker, const std::string& address,
                          const Authority& authority) {
    const std::string& path = asker.visitor->link.path;
    const Authority::Granted granted = authority.DocumentFor(asker, path, address);
    Json::Value page = EmptyPage();
    page["entries"].append(
        ValueOf(EntryOfFile(path.substr(path.rfind('/') + 1), granted.file.Status())));
    return JsonText(page);
}

}  // namespace

std::string SharesFor(const Asker& asker, const message::Question& question,
                      const Authority& authority) {
    const auto admitted = AdmittedShares(asker, question.address, authority);
    const auto seen = AsUser(asker.user, [&admitted] {
        std::string marks;
        for (const auto& share : admitted) {
            marks += MayList(share.second) ? '+' : '-';
        }
        return marks;
    });
    if (!seen || seen->size() != admitted.size()) {
        throw Refused({.status = 503, .retryAfter = 1, .code = "try-again"});
    }
    Json::Value shares(Json::arrayValue);
    for (size_t i = 0; i < admitted.size(); ++i) {
        if ((*seen)[i] == '+') {
            Json::Value share;
            share["name"] = Shown(admitted[i].first);
            share["href"] = Encoded(admitted[i].first);
            shares.append(share);
        }
    }
    Json::Value answer;
    answer["shares"] = shares;
    return JsonText(answer);
}

std::string PageOf(const Asker& asker, const message::Question& question,
                   const Authority& authority) {
    const auto order = Order::Of(question.sort.empty() ? "name" : question.sort);
    if (!order) {
        throw Refused({.status = 400, .code = "bad-sort"});
    }
    if (asker.IsFolderOfOneFile(question.path)) {
        return PageOfOneFile(asker, question.address, authority);
    }
    constexpr Json::ArrayIndex kMostEntries = 500;
    const Json::ArrayIndex limit = question.limit == 0 ? kMostEntries : question.limit;
    ShownEntries entries(asker, question, authority, *order, limit + size_t{1});
    Json::Value page = EmptyPage();
    std::string cursor;
    while (const auto entry = entries.Next()) {
        if (page["entries"].size() == limit) {
            page["next"] = cursor;
            break;
        }
        page["entries"].append(ValueOf(*entry));
        cursor = Order::CursorAfter(*entry);
    }
    return JsonText(page);
}

}  // namespace vellumo::web::worker
