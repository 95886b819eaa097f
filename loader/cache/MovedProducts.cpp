// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/MovedProducts.h"

#include <fcntl.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>

#include "support/Descriptor.h"
#include "vellumo/BaseDB.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

bool Exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

std::string Quoted(const std::string& text) {
    return core::BaseDB::EscapeString(text, true);
}

// The condition that `column` is `path` or a path below it, in a form for which SQLite uses the
// column's index: '0' is the character after '/'.
std::string IsWithin(const std::string& column, const std::string& path) {
    return "(" + column + " = " + Quoted(path) + " OR (" + column + " >= " + Quoted(path + '/') +
           " AND " + column + " < " + Quoted(path + '0') + "))";
}

// The path in `column` with `to` in place of `from`. Counts bytes, since a path may be no text.
std::string NewPath(const std::string& column, const Renamed& renamed) {
    return "(" + Quoted(renamed.to) + " || CAST(substr(CAST(" + column + " AS BLOB), " +
           std::to_string(renamed.from.size() + 1) + ") AS TEXT))";
}

// Moves the entries of everything that was at `from`. What is recorded at the new paths is of files
// that were replaced.
std::string MoveEntries(const std::string& table, const std::string& column,
                        const Renamed& renamed) {
    const std::string condition = " WHERE " + IsWithin(column, renamed.from);
    const std::string path = NewPath(column, renamed);
    std::string sql = "DELETE FROM " + table + " WHERE " + column + " IN (SELECT " + path;
    sql.append(" FROM ").append(table).append(condition).append(");UPDATE ").append(table);
    return sql.append(" SET ").append(column).append(" = ").append(path).append(condition + ";");
}

std::string MoveEntries(const Renamed& renamed) {
    return MoveEntries("cache", "target", renamed) + MoveEntries("cache_target", "path", renamed);
}

// Whether a product is kept for the file at `to` under its old name.
bool IsKeptUnderOldName(const Renamed& renamed) {
    const support::Descriptor file(open(renamed.to.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    std::array<char, PATH_MAX> directory{};
    return file &&
           NAVOEADirPathOfFile(file.Get(), renamed.from.c_str(), directory.data(),
                               directory.size()) == 0 &&
           Exists(directory.data());
}

// Gives a file the same entries as the other file has that got its old name; the entry of that one
// is wrong at worst, which makes it count as changed.
std::string CopyEntries(const Renamed& renamed) {
    const std::string from = Quoted(renamed.from);
    const std::string to = Quoted(renamed.to);
    return "DELETE FROM cache WHERE target = " + to +
           ";DELETE FROM cache_target WHERE path = " + to +
           ";INSERT INTO cache_target(path, modify) SELECT " + to +
           ", modify FROM cache_target WHERE path = " + from +
           ";INSERT INTO cache(target, stream, size, access) SELECT " + to +
           ", stream, size, access FROM cache WHERE target = " + from + ";";
}

class Index {
public:
    Index() : _exists(access(core::SZF_CACHE_DB_PATH, F_OK) == 0) {
        _db.path = core::SZF_CACHE_DB_PATH;
    }

    bool Open() { return !_exists || _db.Open(); }

    bool Follow(const std::vector<Renamed>& renamed) {
        std::string sql;
        for (const Renamed& each : renamed) {
            sql += Statements(each);
        }
        const bool isDone = sql.empty() || !_exists || _db.ExecTransaction(sql);
        return isDone && _isComplete;
    }

private:
    std::string Statements(const Renamed& renamed) {
        if (!Exists(renamed.from)) {
            return MoveEntries(renamed);
        }
        if (!Exists(renamed.to)) {
            return "";  // it was renamed back
        }
        // Something else has the old name by now.
        return (IsKeptUnderOldName(renamed) ? CopyEntries(renamed) : "") +
               MoveEntriesBelow(renamed);
    }

    // Moves the entries of documents that are no longer below `from` but below `to`.
    std::string MoveEntriesBelow(const Renamed& renamed) {
        std::vector<core::Row> rows;
        std::string sql;
        const std::string below = " AND path <> " + Quoted(renamed.from);
        if (_exists) {
            _isComplete = _db.QueryResult("SELECT path FROM cache_target WHERE " +
                                              IsWithin("path", renamed.from) + below,
                                          rows) &&
                          _isComplete;
        }
        for (core::Row& row : rows) {
            const Renamed document{row["path"],
                                   renamed.to + row["path"].substr(renamed.from.size())};
            if (!Exists(document.from) && Exists(document.to)) {
                sql += MoveEntries(document);
            }
        }
        return sql;
    }

    core::BaseDB _db;
    bool _exists;
    bool _isComplete = true;  // all entries that are to move were found
};

// Users choose names, and a line break in one would begin a message of theirs.
std::string OnOneLine(std::string path) {
    std::replace_if(
        path.begin(), path.end(), [](unsigned char c) { return std::iscntrl(c) != 0; }, '?');
    return path;
}

bool MoveStreams(const Renamed& renamed) {
    if (NAVOEAMove(1, renamed.from.c_str(), renamed.to.c_str()) == 0) {
        return true;
    }
    const char* const reason = std::strerror(errno);
    syslog(LOG_ERR, "cannot move the kept products of %s to %s: %s",
           OnOneLine(renamed.from).c_str(), OnOneLine(renamed.to).c_str(), reason);
    return false;
}

// The names under which what was renamed last was known before the folders above it were renamed.
std::vector<std::string> NamesBefore(const std::vector<Renamed>& renamed, size_t last) {
    std::vector<std::string> names;
    std::string name = renamed[last].from;
    for (size_t i = last; i-- > 0;) {
        const Renamed& earlier = renamed[i];
        if (name.starts_with(earlier.to + '/')) {
            name = earlier.from + name.substr(earlier.to.size());
            names.push_back(name);
        }
    }
    return names;
}

}  // namespace

bool MoveProducts(const std::vector<Renamed>& renamed) {
    // The index first: a product that is not in it would not count as changed when its document is.
    Index index;
    bool isDone = index.Open() && index.Follow(renamed);
    for (size_t i = 0; i < renamed.size(); ++i) {
        isDone = MoveStreams(renamed[i]) && isDone;
        // A folder that moves into one of which something is kept takes along only what is in it by
        // now, and so leaves behind what has got another name there.
        for (const std::string& name : NamesBefore(renamed, i)) {
            isDone = MoveStreams({name, renamed[i].to}) && isDone;
        }
    }
    return isDone;
}

}  // namespace vellumo::loader
