// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_AUTHORITY_H
#define VELLUMO_WEB_WORKER_AUTHORITY_H

#include <cstdint>
#include <optional>
#include <string>

#include "links/Visitors.h"
#include "loader/documents/Access.h"
#include "loader/documents/Place.h"
#include "login/Sessions.h"
#include "message/Message.h"
#include "message/Refused.h"
#include "worker/Places.h"
#include "worker/ViewRecord.h"

namespace vellumo::web::worker {

using message::Refused;

// Who asks: a person with a session, or a visitor with a sharing link.
struct Asker {
    std::string user;  // whose rights count: the person's own, or those of the link's owner
    uid_t userId = 0;
    std::optional<links::Visitor> visitor{};

    // The share path of what a question calls `path`. A person names share paths. A visitor names
    // what is below the link: in a shared folder "/sub/a.docx", and the shared file itself
    // "/a.docx", as if it lay alone in a folder. Throws Refused for all else.
    std::string SharePathOf(const std::string& path) const;

    // Whether `path` is the folder in which a visitor finds the shared file.
    bool IsFolderOfOneFile(const std::string& path) const {
        return visitor && !visitor->link.isFolder && path.empty();
    }
};

// Who asks, and what that user may do at this moment. Every operation begins here. Nothing is
// remembered between two questions, so a right that is taken away is gone at the next one.
class Authority {
public:
    Authority(const login::Database& database, const loader::LinkDatabase& links,
              const loader::LinkKey& key, const std::string& pamDirectory)
        : _sessions(database),
          _links(links, key),
          _visits(links),
          _visitors(links, _links, database, pamDirectory),
          _viewRecord(database),
          _places(database),
          _pamDirectory(pamDirectory) {}
    ~Authority() = default;
    Authority(const Authority&) = delete;
    Authority& operator=(const Authority&) = delete;

    // Looks at a session's account itself every five minutes, and ends the session when the account
    // is in order no more; at a link and its owner's account see links::Visitors. Throws Refused.
    Asker AskerOf(const message::Question& question) const;

    // A document that the asker may read, and the very file. A visitor reaches nothing by a
    // symbolic link below the share's folder.
    struct Granted {
        loader::Document document;
        loader::OpenedPlace file;
    };
    Granted DocumentFor(const Asker& asker, const std::string& sharePath,
                        const std::string& address) const;

    // Where the folder `sharePath` lies, if Samba's lists let the asker into it; the kernel's part
    // is asked by who lists it as the user.
    loader::Place FolderFor(const Asker& asker, const std::string& sharePath,
                            const std::string& address) const;

    // Whether Samba's lists let the user see the file.
    static bool IsAdmitted(const std::string& user, const std::string& sharePath,
                           const std::string& address);

    const login::Sessions& Sessions() const { return _sessions; }
    const loader::Links& Links() const { return _links; }
    const loader::Visits& Visits() const { return _visits; }
    const links::Visitors& Visitors() const { return _visitors; }
    const ViewRecord& Views() const { return _viewRecord; }
    const worker::Places& Places() const { return _places; }

private:
    Asker UserOf(const message::Question& question) const;

    login::Sessions _sessions;
    loader::Links _links;
    loader::Visits _visits;
    links::Visitors _visitors;
    ViewRecord _viewRecord;
    worker::Places _places;
    std::string _pamDirectory;
};

}  // namespace vellumo::web::worker

#endif
