// SPDX-License-Identifier: Apache-2.0
#include "login/Database.h"

namespace vellumo::web::login {
namespace {

// user_id: an account that gets the name of a removed one does not get its sessions.
constexpr const char* kTables =
    "CREATE TABLE IF NOT EXISTS sessions (hash BLOB PRIMARY KEY, user TEXT NOT NULL,"
    " user_id INTEGER NOT NULL, begun INTEGER NOT NULL, used INTEGER NOT NULL,"
    " checked INTEGER NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS tries (who TEXT PRIMARY KEY, failures INTEGER NOT NULL,"
    " last INTEGER NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS views (who BLOB NOT NULL, path TEXT NOT NULL,"
    " time INTEGER NOT NULL, PRIMARY KEY (who, path)) WITHOUT ROWID;"
    "CREATE TABLE IF NOT EXISTS places (user TEXT NOT NULL, user_id INTEGER NOT NULL,"
    " path TEXT NOT NULL, page INTEGER NOT NULL, time INTEGER NOT NULL,"
    " PRIMARY KEY (user, user_id, path)) WITHOUT ROWID;";

}  // namespace

Database::Database(const std::string& file) : loader::Database(file, kTables) {}

}  // namespace vellumo::web::login
