// SPDX-License-Identifier: Apache-2.0
// queue-worker: keeps the PDF and the thumbnail of each document in the task queue, then ends.
//
// It leaves out folders and operations other than 0 and 1 ("convert", "convert at once"), whose
// tasks stay in the queue, and does not try a failed document again. Run it only while no
// navovellumod runs, which works on the same queue. Run it as root, who may write beside every
// document.
#include <vellumo/CacheManager.h>
#include <vellumo/Converter.h>
#include <vellumo/TaskDB.h>

#include <iostream>

int main() {
    using namespace NAVO::VELLUMO;
    TaskDB queue;
    std::vector<TaskDB::Task> tasks;
    if (!queue.OpenDB() || !queue.GetTasks(tasks, 0)) {
        return 1;
    }
    for (const TaskDB::Task& task : tasks) {
        if (task.is_folder || task.op < 0 || task.op > 1) {
            continue;
        }
        path::Path document;
        document.SetData("realPath", task.path, true);
        const int pdf = converter::ToPDFCacheWithoutCollection(document);
        const int thumbnail = pdf == 1000 ? converter::ToThumbnail(document) : pdf;
        std::cout << task.path << ": PDF " << pdf << ", thumbnail " << thumbnail << '\n';
        if (!queue.DeleteTask(task)) {  // only now, so that a killed worker loses no task
            return 1;
        }
    }
    CacheManager(false, 1L << 30).GarbageCollect();  // keeps at most 1 GiB of PDFs
    return 0;
}
