// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_DATABASE_H
#define VELLUMO_LOADER_DATABASE_H

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace vellumo::loader {

// Thrown when a database cannot be used.
class DatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A connection to an SQLite file that only root can open. A fork of the process must not use it.
// Its functions wait for another process's transaction for at most 5 seconds, and throw
// DatabaseError. What a statement has written outside a transaction, or a transaction has
// committed, is on the disk: neither the death of the process nor a power cut loses it.
class Database {
public:
    // Creates a missing file with mode 0600. `tables`: the statements that create what is missing.
    Database(const std::string& file, const char* tables);

    // One statement with its values in the order of the question marks.
    class Statement {
    public:
        Statement(const Database& database, const char* text);
        Statement& Bind(int64_t value);
        Statement& Bind(const std::string& text);
        Statement& BindBytes(const std::string& bytes);

        // Goes to the next row; false when there is none.
        bool Next();
        int64_t Number(int column) const;
        std::string Text(int column) const;
        std::string Bytes(int column) const;

    private:
        void Check(int result) const;

        sqlite3* _database;
        std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> _statement;
        int _bound = 0;
    };

    // Several statements of which all take effect, or none. No other process writes meanwhile.
    class Transaction {
    public:
        explicit Transaction(const Database& database);
        ~Transaction();
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        void Commit();

    private:
        const Database& _database;
        bool _isOpen = true;
    };

    Statement Prepare(const char* text) const { return {*this, text}; }

    // How many rows the last statement has changed, and the number of the last row it has added.
    int64_t Changes() const;
    int64_t LastRow() const;

private:
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> _database;
};

}  // namespace vellumo::loader

#endif
