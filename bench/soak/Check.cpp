// SPDX-License-Identifier: Apache-2.0
#include "Check.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <tuple>

#include "Device.h"
#include "RunningDaemon.h"
#include "StateFile.h"
#include "vellumo/Constants.h"

namespace vellumo::soak {
namespace {

namespace fs = std::filesystem;
namespace core = NAVO::VELLUMO;

constexpr const char* kState = "/var/packages/Vellumo/etc";
constexpr const char* kLeases = "/var/packages/Vellumo/etc/leases";
constexpr const char* kStreams = "/volume1/@navoea";

// From the tool's end until its product is stored, on a busy machine.
constexpr int64_t kStoringMs = 3000;
constexpr int64_t kPreparingMs = 500;  // from the choice of a document to its tool
constexpr int64_t kSettlingMs = 2500;

constexpr int kMostDeaths = 2;
constexpr int kMostTimeLimits = 3;

// One call of a tool.
struct Call {
    int64_t begin = 0;
    int64_t end = 0;  // 0: it was killed
};

using Calls = std::map<std::pair<std::string, std::string>, std::vector<Call>>;  // by id and kind

Calls CallsOfTools() {
    Calls calls;
    std::map<std::tuple<pid_t, std::string, std::string>, size_t> open;
    for (const test::ToolNote& note : test::ToolNotes()) {
        std::vector<Call>& same = calls[{note.id, note.kind}];
        const std::tuple key(note.process, note.id, note.kind);
        if (note.isEnd) {
            same.at(open.at(key)).end = note.milliseconds;
        } else {
            open[key] = same.size();
            same.push_back({note.milliseconds, 0});
        }
    }
    return calls;
}

bool AnyWithin(const std::vector<int64_t>& times, int64_t begin, int64_t end) {
    return std::any_of(times.begin(), times.end(),
                       [=](int64_t time) { return begin <= time && time <= end; });
}

// Whether it was renamed while the daemon or its containers were away, or so shortly before that
// the rename had not settled. A conversion that waits for a container then converts the file under
// its old name; a daemon that is killed does not know of the rename, which then costs a conversion
// whenever somebody next comes to the document.
bool IsRenamedWhileAway(const Call& next, const History& history,
                        const std::vector<Disturbance>& disturbances) {
    return std::any_of(disturbances.begin(), disturbances.end(), [&](const Disturbance& each) {
        return each.begin < next.begin &&
               AnyWithin(history.renames, each.begin - kSettlingMs, each.end);
    });
}

// Why a completed call was repeated; "" when there is no good reason.
std::string Reason(const Call& call, const Call& next, const History& history,
                   const std::vector<Disturbance>& disturbances) {
    const int64_t stored = call.end + kStoringMs;
    if (std::any_of(disturbances.begin(), disturbances.end(), [&](const Disturbance& each) {
            return each.begin <= stored && call.begin <= each.end;
        })) {
        return "the daemon was restarted meanwhile";
    }
    if (AnyWithin(history.removals, call.begin - kLongestQueued, next.begin)) {
        return "its products were removed on request";
    }
    if (history.written >= call.begin - kPreparingMs) {
        return "it was written meanwhile";
    }
    if (IsRenamedWhileAway(next, history, disturbances)) {
        return "it was renamed while the daemon or its containers were away";
    }
    return AnyWithin(history.renames, call.begin - kPreparingMs, stored)
               ? "it was renamed meanwhile"
               : "";
}

std::string Renames(const History& history) {
    std::string text;
    for (const int64_t time : history.renames) {
        text += (text.empty() ? "; renamed at " : ", ") + std::to_string(time);
    }
    return text;
}

bool IsRepeated(const History& history, const std::vector<Call>& completed) {
    const auto count = static_cast<int>(completed.size());
    return count > (history.behaviour == "kill" ? kMostDeaths : 1);
}

std::vector<Call> Completed(const std::vector<Call>& calls) {
    std::vector<Call> completed;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(completed),
                 [](const Call& call) { return call.end != 0; });
    return completed;
}

std::string Shown(const std::string& content) {
    return '\'' + content.substr(0, content.find('\n')) + '\'';
}

std::string Why(const std::string& realPath) {
    return test::RunProgram({VELLUMO_TOOL, "why", realPath.substr(std::string("/volume1").size())})
        .output;
}

void CheckProduct(const std::string& realPath, const Document& document, const char* stream,
                  Faults& faults) {
    const std::string path = test::StreamOf(realPath, stream);
    const std::string product = test::ReadFile(path);
    if (!test::Exists(path)) {
        faults.push_back(realPath + ": no " + stream + ", content " + document.id + "\n" +
                         Why(realPath));
    } else if (document.behaviour == "ok" && product != document.content) {
        faults.push_back(realPath + ": " + stream + " was made of " + Shown(product) +
                         ", it is now " + Shown(document.content));
    } else if (document.behaviour == "real" && product.size() < 500) {
        faults.push_back(realPath + ": " + stream + " is short");
    }
    if (fs::exists(path) && fs::last_write_time(path) < fs::last_write_time(realPath)) {
        faults.push_back(realPath + ": " + stream + " is older");
    }
}

// A product that a bad document has kept from its better days must not look fresh.
void CheckNothingFresh(const std::string& realPath, Faults& faults) {
    for (const char* stream : {core::SZK_THUMB_PDF_TYPE, core::SZK_THUMB_TYPE}) {
        const std::string path = test::StreamOf(realPath, stream);
        if (fs::exists(path) && fs::last_write_time(path) >= fs::last_write_time(realPath)) {
            faults.push_back(realPath + ": cannot be converted, but has a fresh " + stream);
        }
    }
}

void CheckNames(const std::string& directory, const std::vector<std::string>& wanted,
                Faults& faults) {
    for (const std::string& name : test::Names(directory)) {
        if (std::find(wanted.begin(), wanted.end(), name) == wanted.end()) {
            faults.push_back(std::string("left: ").append(directory).append("/").append(name));
        }
    }
}

}  // namespace

Faults CheckProducts(const Documents& documents) {
    Faults faults;
    std::map<std::string, int> counts;
    for (const auto& [realPath, document] : documents.All()) {
        ++counts[document.behaviour];
        if (document.behaviour == "ok" || document.behaviour == "real") {
            CheckProduct(realPath, document, core::SZK_THUMB_PDF_TYPE, faults);
            CheckProduct(realPath, document, core::SZK_THUMB_TYPE, faults);
        } else {
            CheckNothingFresh(realPath, faults);
        }
    }
    std::cout << "documents at the end:";
    for (const auto& [behaviour, count] : counts) {
        std::cout << ' ' << count << ' ' << behaviour;
    }
    std::cout << '\n';
    return faults;
}

Faults CheckRepetitions(const Documents& documents, const std::vector<Disturbance>& disturbances) {
    Faults faults;
    std::map<std::string, int> reasons;
    size_t all = 0;
    size_t killed = 0;
    for (const auto& [key, calls] : CallsOfTools()) {
        const History& history = documents.Histories().at(key.first);
        const std::vector<Call> completed = Completed(calls);
        all += calls.size();
        killed += calls.size() - completed.size();
        if (history.behaviour == "hang" && calls.size() > kMostTimeLimits && disturbances.empty()) {
            faults.push_back("document " + key.first + " was tried too often");
        }
        for (size_t i = 1; i < completed.size() && IsRepeated(history, completed); ++i) {
            const std::string reason =
                Reason(completed[i - 1], completed[i], history, disturbances);
            ++reasons[reason.empty() ? "no good reason" : reason];
            if (reason.empty()) {
                faults.push_back("document " + key.first + " (" + history.behaviour + ") was " +
                                 "made a " + key.second + " of twice: at " +
                                 std::to_string(completed[i - 1].begin) + " and " +
                                 std::to_string(completed[i].begin) + Renames(history));
            }
        }
    }
    std::cout << "contents written: " << documents.Histories().size() << "; calls of tools: " << all
              << ", " << killed << " of them ended by a time limit or a restart\n";
    for (const auto& [reason, count] : reasons) {
        std::cout << "repeated calls: " << count << ", " << reason << '\n';
    }
    return faults;
}

Faults CheckForgotten(const Documents& documents) {
    std::vector<std::string> wanted;
    for (const auto& [realPath, document] : documents.All()) {
        wanted.push_back(test::EADirectoryOf(realPath));
        if (wanted.back().ends_with('/')) {
            wanted.back().pop_back();
        }
    }
    std::sort(wanted.begin(), wanted.end());
    Faults faults;
    size_t kept = 0;
    for (const auto& entry : fs::recursive_directory_iterator(kStreams)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        ++kept;
        if (!std::binary_search(wanted.begin(), wanted.end(), entry.path().parent_path())) {
            faults.push_back("no document has " + entry.path().string());
        }
    }
    std::cout << "products and marks at the end: " << kept << '\n';
    return faults;
}

Faults CheckLeftovers() {
    Faults faults;
    const Json::Value state = test::State();
    for (const char* member : {"runningFiles", "runningQueue"}) {
        if (!state[member].empty()) {
            faults.push_back(std::string(member) + ": " + state[member].toStyledString());
        }
    }
    if (state["waitingQueue"] != test::Parsed("[{},{},{}]")) {
        faults.push_back("waitingQueue: " + state["waitingQueue"].toStyledString());
    }
    for (const std::string& name : state.getMemberNames()) {
        if (name.starts_with("navo") && state[name]["using"] != 0) {
            faults.push_back(name + " is in use");
        }
    }
    for (const std::string& file : test::ScratchFiles()) {
        faults.push_back("left: " + file);
    }
    CheckNames(kLeases, {"boot"}, faults);
    CheckNames(core::SZF_INDEX_QUEUE_DIR, {}, faults);
    CheckNames(kState,
               {"config", "config.saved", "leases", "cache.db", "thumb.db", "thumb.db.lock",
                "failures.db", "enable_index", "index.json", "navovellumod.lock"},
               faults);
    if (const size_t tasks = test::QueuedTasks(); tasks > 0) {
        faults.push_back("tasks left in the queue: " + std::to_string(tasks));
    }
    return faults;
}

}  // namespace vellumo::soak
