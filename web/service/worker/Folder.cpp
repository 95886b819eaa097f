// SPDX-License-Identifier: Apache-2.0
#include "worker/Folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <sstream>

#include "http/Target.h"
#include "loader/documents/FolderRules.h"
#include "support/Directory.h"

namespace vellumo::web::worker {
namespace {

using support::Descriptor;

constexpr int64_t kNanoseconds = 1'000'000'000;

// How the bytes of a part begin.
constexpr const char* kLast = "last";
constexpr const char* kGoesOn = "goes on";

// The status of `name`, through a link if the share follows such links.
std::optional<struct stat> StatusOf(const loader::Place& folder, const Descriptor& opened,
                                    const std::string& name) {
    struct stat status {};
    if (fstatat(opened.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return std::nullopt;
    }
    if (!S_ISLNK(status.st_mode)) {
        return status;
    }
    const std::string path = folder.path.empty() ? name : folder.path + '/' + name;
    const auto target =
        loader::OpenedPlace::Open({folder.root, path, folder.links}, loader::LastLink::kFollowed);
    return target ? std::optional(target.Status()) : std::nullopt;
}

std::optional<Entry> EntryOf(const loader::Place& folder, const Descriptor& opened,
                             const std::string& name) {
    const auto status = StatusOf(folder, opened, name);
    if (!status || (!S_ISREG(status->st_mode) && !S_ISDIR(status->st_mode))) {
        return std::nullopt;
    }
    const bool isFolder = S_ISDIR(status->st_mode);
    if (faccessat(opened.Get(), name.c_str(), isFolder ? R_OK | X_OK : R_OK, AT_EACCESS) != 0) {
        return std::nullopt;
    }
    Entry entry = EntryOfFile(name, *status);
    if (isFolder) {
        entry.isFolder = true;
        entry.size = 0;
    }
    return entry;
}

// What the order needs to know of a name. Nothing of what is neither a file nor a folder.
std::optional<Entry> CandidateOf(const loader::Place& folder, const Descriptor& opened,
                                 const Order& order, const support::TypedName& found) {
    const bool isKnown = found.type == DT_REG || found.type == DT_DIR;
    if (isKnown && !order.NeedsStatus()) {
        return Entry{found.type == DT_DIR, 0, 0, found.name};
    }
    return EntryOf(folder, opened, found.name);
}

// The entries after `after`, in no order, of which the process may not see all. To look at the
// files themselves takes most of the time, so it is done for those that are shown.
std::vector<Entry> CandidatesOf(const loader::Place& folder, const Descriptor& opened,
                                const Order& order, const std::optional<Entry>& after) {
    std::vector<Entry> candidates;
    for (const support::TypedName& found : support::TypedNamesIn(opened)) {
        if (loader::IsPassedOver(found.name)) {
            continue;
        }
        auto candidate = CandidateOf(folder, opened, order, found);
        if (candidate && (!after || order(*after, *candidate))) {
            candidates.push_back(std::move(*candidate));
        }
    }
    return candidates;
}

template <typename Value>
int Sign(const Value& one, const Value& other) {
    if (one < other) {
        return -1;
    }
    return other < one ? 1 : 0;
}

int CompareNames(const std::string& one, const std::string& other) {
    const int loosely = strcasecmp(one.c_str(), other.c_str());
    return loosely != 0 ? loosely : one.compare(other);
}

// The length of the UTF-8 sequence at the beginning of `bytes`; 0 when there is none.
size_t SequenceLength(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes.front());
    if (first < 0x80U) {
        return 1;
    }
    const size_t length = first >= 0xF0U ? 4 : (first >= 0xE0U ? 3 : 2);
    if (first < 0xC2U || first > 0xF4U || bytes.size() < length) {
        return 0;
    }
    const auto second = static_cast<unsigned char>(bytes[1]);
    const bool isOdd = (first == 0xE0U && second < 0xA0U) || (first == 0xEDU && second > 0x9FU) ||
                       (first == 0xF0U && second < 0x90U) || (first == 0xF4U && second > 0x8FU);
    const bool goesOn =
        std::all_of(bytes.begin() + 1, bytes.begin() + static_cast<long>(length),
                    [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; });
    return goesOn && !isOdd ? length : 0;
}

}  // namespace

Entry EntryOfFile(const std::string& name, const struct stat& status) {
    return {false, static_cast<uint64_t>(status.st_size),
            (status.st_mtim.tv_sec * kNanoseconds) + status.st_mtim.tv_nsec, name};
}

std::string VersionOf(const Entry& file) {
    return std::to_string(file.time) + '-' + std::to_string(file.size);
}

std::optional<Part> PartOf(const loader::Place& folder, const Order& order,
                           const std::optional<Entry>& after, size_t most) {
    const auto found = loader::OpenedPlace::Open(folder, loader::LastLink::kFollowed);
    if (!found || !S_ISDIR(found.Status().st_mode)) {
        return std::nullopt;
    }
    const Descriptor opened(openat(found.File().Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) {
        return std::nullopt;
    }
    std::vector<Entry> candidates = CandidatesOf(folder, opened, order, after);
    std::sort(candidates.begin(), candidates.end(), order);
    Part part;
    for (const Entry& candidate : candidates) {
        auto entry = EntryOf(folder, opened, candidate.name);
        if (!entry) {
            continue;
        }
        if (part.entries.size() == most) {
            part.isLast = false;
            break;
        }
        part.entries.push_back(std::move(*entry));
    }
    return part;
}

std::string Packed(const Part& part) {
    std::string bytes = part.isLast ? kLast : kGoesOn;
    for (const Entry& entry : part.entries) {
        bytes += '\n' + Order::CursorAfter(entry);
    }
    return bytes;
}

std::optional<Part> Unpacked(const std::string& bytes) {
    std::istringstream lines(bytes);
    std::string line;
    if (!std::getline(lines, line) || (line != kLast && line != kGoesOn)) {
        return std::nullopt;
    }
    Part part{{}, line == kLast};
    while (std::getline(lines, line)) {
        auto entry = Order::EntryAt(line);
        if (!entry) {
            return std::nullopt;
        }
        part.entries.push_back(std::move(*entry));
    }
    return part;
}

std::optional<Order> Order::Of(const std::string& text) {
    constexpr std::array<std::pair<std::string_view, By>, 4> kNames{
        {{"name", By::kName}, {"time", By::kTime}, {"type", By::kType}, {"size", By::kSize}}};
    const bool isReversed = text.starts_with('-');
    const std::string_view name = std::string_view(text).substr(isReversed ? 1 : 0);
    const auto* const found = std::find_if(kNames.begin(), kNames.end(),
                                           [&](const auto& known) { return known.first == name; });
    return found == kNames.end() ? std::nullopt : std::optional(Order(found->second, isReversed));
}

int Order::Compare(const Entry& one, const Entry& other) const {
    switch (_by) {
        case By::kTime:
            return Sign(one.time, other.time);
        case By::kType:
            return Sign(TypeOf(one.name), TypeOf(other.name));
        case By::kSize:
            return Sign(one.size, other.size);
        default:
            return CompareNames(one.name, other.name);
    }
}

bool Order::operator()(const Entry& one, const Entry& other) const {
    if (one.isFolder != other.isFolder) {
        return one.isFolder;
    }
    if (const int compared = Compare(one, other)) {
        return _isReversed ? compared > 0 : compared < 0;
    }
    return CompareNames(one.name, other.name) < 0;
}

std::string Order::CursorAfter(const Entry& last) {
    return std::string(last.isFolder ? "d" : "f") + ' ' + std::to_string(last.size) + ' ' +
           std::to_string(last.time) + ' ' + Encoded(last.name);
}

std::optional<Entry> Order::EntryAt(const std::string& cursor) {
    std::istringstream words(cursor);
    std::string kind;
    std::string name;
    Entry entry;
    words >> kind >> entry.size >> entry.time >> name;
    const auto decoded = http::SplitPath('/' + name);
    if (!words || !(words >> std::ws).eof() || (kind != "d" && kind != "f") || !decoded ||
        decoded->size() != 1) {
        return std::nullopt;
    }
    entry.isFolder = kind == "d";
    entry.name = decoded->front();
    return entry;
}

std::string Encoded(const std::string& name) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string encoded;
    for (const char letter : name) {
        const auto byte = static_cast<unsigned char>(letter);
        if (std::isalnum(byte) != 0 || std::strchr("-._~", letter) != nullptr) {
            encoded += letter;
        } else {
            encoded += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
        }
    }
    return encoded;
}

std::string Shown(const std::string& name) {
    std::string shown;
    for (size_t i = 0; i < name.size();) {
        const size_t length = SequenceLength(std::string_view(name).substr(i));
        shown += length == 0 ? "\xEF\xBF\xBD" : name.substr(i, length);
        i += std::max<size_t>(length, 1);
    }
    return shown;
}

std::string TypeOf(const std::string& name) {
    const size_t dot = name.rfind('.');
    std::string type = dot == std::string::npos ? "" : name.substr(dot + 1);
    std::transform(type.begin(), type.end(), type.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return type;
}

}  // namespace vellumo::web::worker
