// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DATABASETEST_H
#define VELLUMO_TESTS_DATABASETEST_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Device.h"
#include "vellumo/BaseDB.h"

namespace vellumo::test {

using Rows = std::vector<NAVO::VELLUMO::Row>;

// A test of the database `file`, which does not exist at first. The test looks at it and changes it
// by connections of its own.
class DatabaseTest : public DeviceTest {
protected:
    explicit DatabaseTest(std::string file);
    ~DatabaseTest() override;

    Rows Query(const std::string& query) const;
    void Change(const std::string& changes) const;

    // The statements that SQLite has begun to carry out since the last call, on connections that
    // were opened since then and are open still; without the one that sets up each connection.
    static void BeginTrace();
    static std::vector<std::string> Trace();

    // What the next query gives instead of its rows.
    static void AnswerNextQuery(const Rows& rows);

    // A pattern for the text of a message, under the name of its source.
    static std::string Message(const std::string& source, const std::string& text);
    // The same of a text that is no pattern.
    static std::string Exactly(const std::string& source, const std::string& text);
    // The same of a message that comes first after SQLite has failed: some of SQLite's system calls
    // may have failed by the way, and the last of these errors is told with it.
    static std::string AfterSqlite(const std::string& source, const std::string& text);

    // Texts that are hard to quote, to match and to store.
    static std::vector<std::string> DifficultTexts();

private:
    std::string _file;
};

}  // namespace vellumo::test

#endif
