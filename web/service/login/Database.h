// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_LOGIN_DATABASE_H
#define VELLUMO_WEB_LOGIN_DATABASE_H

#include <string>

#include "loader/Database.h"
#include "loader/daemon/WebClient.h"

namespace vellumo::web::login {

// The SQLite file of the web service's sessions, failed logins, what the view log has of them, and
// the pages that users have seen last. Whoever removes it logs everybody out and loses those pages,
// and nothing else.
inline constexpr const char* kDatabaseFile = loader::kWebDatabase;

class Database : public loader::Database {
public:
    explicit Database(const std::string& file = kDatabaseFile);
};

}  // namespace vellumo::web::login

#endif
