// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_CACHELIMIT_H
#define VELLUMO_TOOLS_CACHELIMIT_H

#include <functional>
#include <optional>
#include <string>

#include "app/Messages.h"
#include "convert/Job.h"
#include "loader/cache/Collection.h"
#include "loader/settings/Settings.h"

namespace vellumo::cli {

// What a command that keeps PDFs does about the administrator's limit of the cache. Nothing here
// makes a conversion fail: what goes wrong is told as a warning.
class CacheLimit {
public:
    // Reads the settings. `warn` is called with each warning, also from the constructor.
    explicit CacheLimit(std::function<void(const Problem&)> warn);

    // Warns, once, when the PDFs of `jobs`, of which all are known by now, will probably exceed the
    // limit, so that the first of them are removed again.
    void CheckRoomFor(const Jobs& jobs);

    // Counts the PDF of a converted job; collects once in a while.
    void NoteStored(const Job& job);

    // Collects for the last time.
    void Finish();

private:
    void WarnOfTooMany(int64_t pdfs, int64_t bytes) const;
    void Collect(const std::function<void()>& step);

    std::function<void(const Problem&)> _warn;
    std::string _limit;                                 // as the administrator wrote it
    std::optional<loader::BulkCollection> _collection;  // null after a collection has failed
    bool _hasChecked = false;
};

}  // namespace vellumo::cli

#endif
