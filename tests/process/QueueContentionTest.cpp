// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <map>
#include <set>
#include <thread>

#include "Device.h"
#include "SyslogSink.h"
#include "Worker.h"
#include "vellumo/BaseDB.h"
#include "vellumo/Constants.h"

using namespace vellumo::test;
using NAVO::VELLUMO::BaseDB;
using NAVO::VELLUMO::Row;
using NAVO::VELLUMO::SZF_THUMB_DB_PATH;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::Gt;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char* kFirstVersion =
    "CREATE TABLE tasks ( id INTEGER PRIMARY KEY ASC AUTOINCREMENT,is_folder INTEGER,path TEXT,"
    "op INTEGER);CREATE UNIQUE INDEX path_op ON tasks (path,op);CREATE INDEX path ON tasks (path);"
    "PRAGMA user_version = 1;";

class QueueContention : public DeviceTest {
protected:
    QueueContention() { RemoveQueue(); }

    static void RemoveQueue() {
        for (const char* suffix : {"", "-journal", ".lock"}) {
            unlink((std::string(SZF_THUMB_DB_PATH) + suffix).c_str());
        }
    }
    static std::vector<Row> RowsOf(const std::string& query) {
        BaseDB queue;
        queue.path = SZF_THUMB_DB_PATH;
        EXPECT_TRUE(queue.Open());
        std::vector<Row> rows;
        EXPECT_TRUE(queue.QueryResult(query, rows)) << query;
        return rows;
    }
    static std::string Version() { return RowsOf("PRAGMA user_version").at(0)["user_version"]; }

    // A queue of version 1 with `rows` tasks.
    static void MakeFirstVersion(int rows) {
        RemoveQueue();
        BaseDB queue;
        queue.path = SZF_THUMB_DB_PATH;
        ASSERT_TRUE(queue.Open());
        std::string statements = kFirstVersion;
        for (int i = 0; i < rows; ++i) {
            statements += "INSERT INTO tasks (is_folder,path,op) VALUES (0,'/volume1/docs/" +
                          std::to_string(i) + "',1);";
        }
        ASSERT_TRUE(queue.ExecTransaction(statements));
    }

    // Kills a process at each step of its migration, from a queue made anew, and opens the queue
    // again.
    static void ExpectEveryDeathIsSurvived(int rows, void (*make)(int)) {
        for (int step = 1;; ++step) {
            make(rows);
            const int end = QueueWorker({"die", std::to_string(step)}).Wait();
            ASSERT_EQ(QueueWorker({"open"}).Wait(), 0) << "after a death at step " << step;
            ASSERT_EQ(Version(), "2") << "after a death at step " << step;
            ASSERT_EQ(RowsOf("SELECT COUNT(DISTINCT path) AS n FROM tasks").at(0)["n"],
                      std::to_string(rows))
                << "after a death at step " << step;
            ASSERT_EQ(RowsOf("PRAGMA integrity_check").at(0)["integrity_check"], "ok");
            if (end == 0) {
                EXPECT_GT(step, 20) << "steps of a migration";
                return;
            }
            ASSERT_EQ(end, -SIGKILL);
        }
    }
};

// What a consumer says, read while it runs.
class Consumer {
public:
    explicit Consumer(Worker process) : _process(std::move(process)), _reader([this] { Read(); }) {}

    // What it consumed until its end, which must have been a good one.
    std::vector<std::string> Consumed() {
        _reader.join();
        EXPECT_EQ(_process.Wait(), 0);
        return _paths;
    }

private:
    void Read() {
        for (std::string path = _process.ReadLine(); !path.empty(); path = _process.ReadLine()) {
            _paths.push_back(path);
        }
    }

    Worker _process;
    std::vector<std::string> _paths;
    std::thread _reader;
};

}  // namespace

// Both have seen the new database before either has begun; the slower one then takes it back to
// version 1 with a column of version 2, which nobody can migrate any more.
TEST_F(QueueContention, WithoutTurnsAMigrationDoneTwiceRuinsTheQueue) {
    Worker fast = QueueWorker({"halt", "unlocked"});
    ASSERT_EQ(fast.ReadLine(), "halted");
    Worker slow = QueueWorker({"halt", "unlocked"});
    ASSERT_EQ(slow.ReadLine(), "halted");
    fast.Signal(SIGUSR1);
    EXPECT_EQ(fast.Wait(), 0);
    EXPECT_EQ(Version(), "2");
    slow.Signal(SIGUSR1);
    EXPECT_EQ(slow.Wait(), 1);
    EXPECT_EQ(Version(), "1");
    EXPECT_EQ(QueueWorker({"open"}).Wait(), 1) << "and so for ever";
    EXPECT_THAT(SyslogSink::Get().Texts(),
                Contains(HasSubstr("database migration from 1 to 2 failed")));
}

TEST_F(QueueContention, TwoThatMigrateAtOnceTakeTurns) {
    Worker first = QueueWorker({"halt"});
    ASSERT_EQ(first.ReadLine(), "halted");
    Worker second = QueueWorker({"halt"});
    ASSERT_EQ(second.ReadLine(), "waiting");
    EXPECT_EQ(Version(), "0");
    first.Signal(SIGUSR1);
    EXPECT_EQ(first.Wait(), 0);
    ASSERT_EQ(second.ReadLine(), "") << "it has nothing left to begin";
    EXPECT_EQ(second.Wait(), 0);
    EXPECT_EQ(Version(), "2");
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(QueueContention, ManyThatMigrateAtOnceAllSucceed) {
    for (int round = 0; round < 20; ++round) {
        round % 2 == 0 ? RemoveQueue() : MakeFirstVersion(10);
        std::vector<Worker> workers;
        for (int i = 0; i < 8; ++i) {
            workers.push_back(QueueWorker({"together"}));
        }
        RunTogether(workers);
        ASSERT_EQ(Version(), "2") << "in round " << round;
    }
    EXPECT_THAT(SyslogSink::Get().Texts(), IsEmpty());
}

TEST_F(QueueContention, TurnOfAKilledProcessIsOver) {
    Worker holder = QueueWorker({"halt"});
    ASSERT_EQ(holder.ReadLine(), "halted");
    holder.Signal(SIGKILL);
    EXPECT_EQ(holder.Wait(), -SIGKILL);
    EXPECT_EQ(QueueWorker({"open"}).Wait(), 0);
    EXPECT_EQ(Version(), "2");
}

TEST_F(QueueContention, DeathAtAnyStepOfMakingTheQueueIsSurvived) {
    ExpectEveryDeathIsSurvived(0, [](int) { RemoveQueue(); });
}

TEST_F(QueueContention, DeathAtAnyStepOfMigratingRowsIsSurvived) {
    ExpectEveryDeathIsSurvived(300, MakeFirstVersion);
}

TEST_F(QueueContention, NoTaskOfManyProducersAndConsumersIsLost) {
    constexpr int kProducers = 8;
    constexpr size_t kConsumers = 4;
    ASSERT_EQ(QueueWorker({"open"}).Wait(), 0);
    unlink("/device/done");
    std::vector<std::unique_ptr<Consumer>> consumers;
    for (size_t i = 0; i < kConsumers; ++i) {
        consumers.push_back(std::make_unique<Consumer>(QueueWorker({"consume"})));
    }
    std::vector<Worker> producers;
    for (int i = 0; i < kProducers; ++i) {
        producers.push_back(QueueWorker({"produce", "p" + std::to_string(i), "20"}));
    }
    std::set<std::string> produced;
    for (int i = 0; i < kProducers; ++i) {
        const int count = std::atoi(producers[static_cast<size_t>(i)].ReadLine().c_str());
        EXPECT_EQ(producers[static_cast<size_t>(i)].Wait(), 0);
        EXPECT_GT(count, 10) << "tasks of one producer";
        for (int k = 0; k < count; ++k) {
            produced.insert("/p" + std::to_string(i) + "-" + std::to_string(k));
        }
    }
    WriteFile("/device/done", "");

    std::set<std::string> consumed;
    for (const auto& consumer : consumers) {
        const std::vector<std::string> paths = consumer->Consumed();
        const std::set<std::string> distinct(paths.begin(), paths.end());
        EXPECT_EQ(distinct.size(), paths.size()) << "a consumer met a task that it had deleted";
        EXPECT_THAT(paths, testing::SizeIs(Gt(10U)));
        consumed.insert(distinct.begin(), distinct.end());
    }
    EXPECT_EQ(consumed, produced);
    EXPECT_THAT(RowsOf("SELECT * FROM tasks"), IsEmpty());
    EXPECT_EQ(RowsOf("PRAGMA integrity_check").at(0)["integrity_check"], "ok");
    EXPECT_THAT(SyslogSink::Get().Texts(),
                Each(AnyOf(HasSubstr("error: database is locked"), HasSubstr("query failed"))));
}
