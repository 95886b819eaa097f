// SPDX-License-Identifier: Apache-2.0
#include "worker/ViewRecord.h"

#include <navo/APIRequest.h>

#include "vellumo/utils.h"

namespace vellumo::web::worker {
namespace {

// A visitor counts as one without an account, also when the browser has a session too.
NAVO::APIRequest RequestOf(const View& view) {
    NAVO::APIRequest request;
    request.SetRemoteIP(view.address);
    if (view.isVisitor) {
        NAVO::sharing::record::Entry entry;
        entry.set_owner_user(view.user);
        request.SetSharing(entry, {});
    } else {
        request.SetLoginUserName(view.user);
    }
    return request;
}

}  // namespace

int64_t ViewRecord::Last(const View& view) const {
    auto row = _database.Prepare("SELECT time FROM views WHERE who = ? AND path = ?");
    return row.BindBytes(view.who).Bind(view.sharePath).Next() ? row.Number(0) : 0;
}

void ViewRecord::Note(const View& view, const loader::OpenedPlace& file, int64_t now,
                      loader::Manner manner) const {
    if (!loader::IsNew(Last(view), now, manner)) {
        return;
    }
    loader::Database::Transaction transaction(_database);
    if (!loader::IsNew(Last(view), now, manner)) {
        return;  // another process was faster
    }
    // The file's own path in /proc: its name may be another file's by now.
    NAVO::APIRequest request = RequestOf(view);
    if (!NAVO::VELLUMO::ViewLog(view.sharePath, file.Name(), &request)) {
        return;
    }
    constexpr int64_t kLongestSession = std::chrono::seconds(loader::Visits::kMost).count();
    _database.Prepare("DELETE FROM views WHERE time < ?").Bind(now - kLongestSession).Next();
    _database.Prepare("INSERT OR REPLACE INTO views VALUES (?, ?, ?)")
        .BindBytes(view.who)
        .Bind(view.sharePath)
        .Bind(now)
        .Next();
    transaction.Commit();
}

}  // namespace vellumo::web::worker
