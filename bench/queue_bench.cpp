// SPDX-License-Identifier: Apache-2.0
// Measures the operations of the task queue for different numbers of queued tasks.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Device.h"
#include "DeviceView.h"
#include "vellumo/Constants.h"
#include "vellumo/TaskDB.h"

using namespace NAVO::VELLUMO;
using namespace vellumo::test;

namespace {

const TaskDB::Task kTask{1, false, "", "/volume1/docs/some folder/the task that is measured.docx",
                         2};

// Runs `statements` on a separate connection.
void Run(const std::string& statements) {
    sqlite3* connection = nullptr;
    const bool done =
        sqlite3_open(SZF_THUMB_DB_PATH, &connection) == SQLITE_OK &&
        sqlite3_exec(connection, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(connection);
    if (!done) {
        throw std::runtime_error("cannot fill the queue");
    }
}

// Returns the open queue with `count` tasks in it. Measurements leave the tasks as they were, so it
// fills the queue anew only for another number.
TaskDB& QueueOf(int64_t count) {
    static TaskDB queue;
    static int64_t filled = -1;
    if (filled == -1) {
        PrepareFreshDevice();
        if (!queue.OpenDB()) {
            throw std::runtime_error("cannot open the queue");
        }
    }
    if (filled != count) {
        Run("BEGIN; DELETE FROM tasks; WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 "
            "FROM n WHERE i < " +
            std::to_string(count) +
            ") INSERT INTO tasks (is_folder,path,op,convert_type) SELECT 0, "
            "'/volume1/docs/folder ' || (i % 1000) || '/document ' || i || '.docx', 1, 2 FROM n; "
            "COMMIT");
        filled = count;
    }
    return queue;
}

void AppendTask(benchmark::State& state) {
    TaskDB& queue = QueueOf(state.range(0));
    for (auto _ : state) {
        if (!queue.AppendTask(kTask)) {
            state.SkipWithError("not appended");
        }
        state.PauseTiming();
        Run("DELETE FROM tasks WHERE id = (SELECT MAX(id) FROM tasks)");
        state.ResumeTiming();
    }
}

void GetTask(benchmark::State& state) {
    TaskDB& queue = QueueOf(state.range(0));
    TaskDB::Task task;
    for (auto _ : state) {
        if (!queue.GetTask(task)) {
            state.SkipWithError("nothing read");
        }
    }
}

// Deletes the oldest task; inserts it again with the same id, outside the measured time.
void DeleteTask(benchmark::State& state) {
    TaskDB& queue = QueueOf(state.range(0));
    TaskDB::Task task;
    for (auto _ : state) {
        state.PauseTiming();
        if (!queue.GetTask(task)) {
            state.SkipWithError("nothing to delete");
        }
        state.ResumeTiming();
        if (!queue.DeleteTask(task)) {
            state.SkipWithError("not deleted");
        }
        state.PauseTiming();
        Run("INSERT INTO tasks (id,is_folder,path,op,convert_type) VALUES (" + task.id + ",0," +
            BaseDB::EscapeString(task.path, true) + ",1,2)");
        state.ResumeTiming();
    }
}

// Asks for a path that is not queued, so SQLite reads every row.
void IsConvertingPath(benchmark::State& state) {
    TaskDB& queue = QueueOf(state.range(0));
    for (auto _ : state) {
        if (queue.IsConvertingPath(kTask.path)) {
            state.SkipWithError("found what is not there");
        }
    }
}

struct Operation {
    const char* name;
    void (*run)(benchmark::State&);
};
constexpr Operation kOperations[] = {{"AppendTask", AppendTask},
                                     {"GetTask", GetTask},
                                     {"DeleteTask", DeleteTask},
                                     {"IsConvertingPath", IsConvertingPath}};

}  // namespace

int main(int argc, char** argv) {
    EnterDeviceView(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    for (const int64_t queued : {100, 10000, 1000000}) {
        for (const Operation& operation : kOperations) {
            benchmark::RegisterBenchmark((std::string(operation.name) + ", tasks queued").c_str(),
                                         operation.run)
                ->Arg(queued)
                ->Unit(benchmark::kMicrosecond)
                ->UseRealTime()
                ->Repetitions(5)
                ->ReportAggregatesOnly();
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
