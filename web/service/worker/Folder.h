// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_WORKER_FOLDER_H
#define VELLUMO_WEB_WORKER_FOLDER_H

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "loader/documents/Place.h"

namespace vellumo::web::worker {

// One file or folder in a listed folder.
struct Entry {
    bool isFolder = false;
    uint64_t size = 0;
    int64_t time = 0;  // of the last modification, in nanoseconds since 1970
    std::string name;
};

// The entry of a regular file.
Entry EntryOfFile(const std::string& name, const struct stat& status);

// Differs for each version of a file.
std::string VersionOf(const Entry& file);

// The order of a list: folders first, then by what `text` says ("name", "time", "type", "size";
// with "-" in front the other way round), then by name.
class Order {
public:
    // Nothing for another text.
    static std::optional<Order> Of(const std::string& text);

    bool operator()(const Entry& one, const Entry& other) const;

    // Whether more matters than names and which of them are folders'.
    bool NeedsStatus() const { return _by == By::kTime || _by == By::kSize; }

    // The place after `last` in the list, for the next page; Of a damaged text, nothing.
    static std::string CursorAfter(const Entry& last);
    static std::optional<Entry> EntryAt(const std::string& cursor);

private:
    enum class By { kName, kTime, kType, kSize };
    Order(By by, bool isReversed) : _by(by), _isReversed(isReversed) {}
    int Compare(const Entry& one, const Entry& other) const;

    By _by;
    bool _isReversed;
};

// A part of a list.
struct Part {
    std::vector<Entry> entries;
    bool isLast = true;  // no entry comes after these
};

// What the process may see in the folder: regular files that it may read and folders that it may
// list, without hidden names and what other programs leave. Returns the first `most` entries after
// `after`; from the first one without `after`. Nothing when it may not list the folder itself.
std::optional<Part> PartOf(const loader::Place& folder, const Order& order,
                           const std::optional<Entry>& after, size_t most);

// A part as bytes, for the way from the process that lists to the one that answers.
std::string Packed(const Part& part);
std::optional<Part> Unpacked(const std::string& bytes);

// The bytes of a name as a component of a URL, and back.
std::string Encoded(const std::string& name);

// A name as text for people: bytes that are no UTF-8 are shown as U+FFFD.
std::string Shown(const std::string& name);

// The lower-case extension of a name; "" for none.
std::string TypeOf(const std::string& name);

}  // namespace vellumo::web::worker

#endif
