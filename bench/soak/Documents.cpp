// SPDX-License-Identifier: Apache-2.0
#include "Documents.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>

#include "Device.h"
#include "RunningDaemon.h"
#include "vellumo/Constants.h"

namespace vellumo::soak {
namespace {

namespace core = NAVO::VELLUMO;
using test::WriteFile;

constexpr const char* kShare = "/volume1/docs/";
constexpr size_t kMostDocuments = 400;
constexpr int kShortestMs = 100;
constexpr int kSpreadMs = 200;
constexpr int kLongMs = 60000;  // longer than a worker may take
constexpr int kMostPadding = 20000;

bool IsAtOrBelow(const std::string& realPath, const std::string& top) {
    return realPath == top || realPath.starts_with(top + '/');
}

std::string SharePath(const std::string& realPath) {
    return realPath.substr(std::string("/volume1").size());
}

void AppendToIndexQueue(const std::string& line) {
    const int file = open(core::SZF_INDEX_QUEUE, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (write(file, line.data(), line.size()) < 0) {
        std::perror("cannot write to the indexing queue");
    }
    close(file);
}

}  // namespace

int64_t Now() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

int Documents::Number(int below) {
    return std::uniform_int_distribution<int>(0, below - 1)(_random);
}

Documents::Entry Documents::Any() {
    return std::next(_documents.begin(), Number(static_cast<int>(_documents.size())));
}

std::string Documents::Folder(int number) const {
    const int renamed = _folders.at(static_cast<size_t>(number));
    return kShare + std::string("team ") + std::to_string(number) + "/year " +
           std::to_string(renamed) + "/";
}

std::string Documents::NewPath() {
    constexpr const char* kTypes[] = {".docx", ".odt", ".xlsx", ".pptx"};
    const std::string folder = Folder(Number(static_cast<int>(_folders.size())));
    test::MakeDirectory(folder);
    return folder + "paper no. " + std::to_string(++_lastName) + kTypes[Number(4)];
}

// Few documents are bad ones: each that hangs takes a slot for as long as a worker may take.
void Documents::Write(const std::string& realPath, bool isAtomic) {
    Document document;
    document.id = std::to_string(++_lastId);
    const int kind = Number(200);
    document.behaviour = kind < 1 ? "hang" : kind < 4 ? "kill" : kind < 14 ? "fail" : "ok";
    const int milliseconds =
        document.behaviour == "hang" ? kLongMs : kShortestMs + Number(kSpreadMs);
    document.content = "tool: " + document.id + ' ' + document.behaviour + ' ' +
                       std::to_string(milliseconds) + '\n' +
                       std::string(static_cast<size_t>(Number(kMostPadding)), 'x');
    if (isAtomic) {
        const std::string beside = realPath.substr(0, realPath.rfind('/') + 1) + ".saving";
        WriteFile(beside, document.content);
        std::rename(beside.c_str(), realPath.c_str());
    } else {
        WriteFile(realPath, document.content);
    }
    _histories[document.id] = {document.behaviour, Now(), {}, {}};
    _documents[realPath] = std::move(document);
    _removed.erase(realPath);
}

void Documents::AddRealOnes(const std::string& samples) {
    for (const char* name : {"letter.docx", "report.odt", "budget.xlsx", "pitch.pptx"}) {
        Document document;
        document.behaviour = "real";
        document.content = test::ReadFile(samples + '/' + name);
        const std::string realPath = kShare + std::string("real ") + name;
        WriteFile(realPath, document.content);
        _documents[realPath] = std::move(document);
    }
}

void Documents::Create() {
    Write(NewPath(), Number(2) == 0);
}

void Documents::ChangeOne(bool isAtomic) {
    const auto document = Any();
    if (!document->second.id.empty()) {
        Write(document->first, isAtomic);
    }
}

void Documents::NoteRename(Entry document, const std::string& realPath) {
    auto node = _documents.extract(document);
    _histories[node.mapped().id].renames.push_back(Now());
    if (_removed.erase(node.key()) > 0) {
        _removed.insert(realPath);
    }
    node.key() = realPath;
    _documents.insert(std::move(node));
    if (IsBelowRemoved(realPath)) {
        NoteRemovalOf(realPath);
    }
}

void Documents::Rename() {
    const auto document = Any();
    const std::string type = document->first.substr(document->first.rfind('.'));
    std::string target = NewPath();
    target = target.substr(0, target.rfind('.')) + type;
    if (std::rename(document->first.c_str(), target.c_str()) == 0) {
        NoteRename(document, target);
    }
}

void Documents::RenameFolder() {
    const int number = Number(static_cast<int>(_folders.size()));
    const std::string before = Folder(number);
    ++_folders.at(static_cast<size_t>(number));
    const std::string after = Folder(number);
    if (std::rename(before.c_str(), after.c_str()) != 0) {
        return;
    }
    std::vector<std::string> moved;
    for (const auto& [realPath, document] : _documents) {
        if (realPath.starts_with(before)) {
            moved.push_back(realPath);
        }
    }
    for (const std::string& realPath : moved) {
        NoteRename(_documents.find(realPath), after + realPath.substr(before.size()));
    }
}

void Documents::Delete() {
    const auto document = Any();
    if (document->second.id.empty()) {
        return;
    }
    unlink(document->first.c_str());
    _removed.erase(document->first);
    _documents.erase(document);
}

std::string Documents::Change() {
    const int kind = _documents.size() < 20 ? 0 : Number(100);
    const bool isFull = _documents.size() >= kMostDocuments;
    if (kind < 40 && !isFull) {
        Create();
        return "created";
    }
    if (kind < 60) {
        ChangeOne(false);
        return "changed in place";
    }
    if (kind < 75) {
        ChangeOne(true);
        return "saved atomically";
    }
    if (kind < 85) {
        Rename();
        return "renamed";
    }
    if (kind < 87) {
        RenameFolder();
        return "folders renamed";
    }
    Delete();
    return "deleted";
}

// Whatever is removed may be kept again at any time: only the end knows who has to have products.
void Documents::NoteRemoval(const std::string& top) {
    _removals[top] = Now();
    for (const auto& [realPath, document] : _documents) {
        if (IsAtOrBelow(realPath, top)) {
            NoteRemovalOf(realPath);
        }
    }
}

void Documents::NoteRemovalOf(const std::string& realPath) {
    _removed.insert(realPath);
    _histories[_documents.at(realPath).id].removals.push_back(Now());
}

// The daemon removes what is in the folder when it comes to the task, not when somebody asked.
bool Documents::IsBelowRemoved(const std::string& realPath) const {
    return std::any_of(_removals.begin(), _removals.end(), [&](const auto& removal) {
        return IsAtOrBelow(realPath, removal.first) && Now() - removal.second < kLongestQueued;
    });
}

std::string Documents::Ask() {
    const std::string realPath = Any()->first;
    const std::string folder = realPath.substr(0, realPath.rfind('/'));
    const int kind = Number(12);
    if (kind < 3) {
        AppendToIndexQueue((kind == 0 ? folder : realPath) + '\n');
        return "lines of the indexing queue";
    }
    constexpr const char* kOperations[] = {"convert", "now", "reindex", "remove"};
    const std::string operation = kind == 3 ? "remove" : kOperations[Number(3)];
    const bool isFolder = operation == "reindex" || Number(4) == 0;
    const std::string& top = isFolder ? folder : realPath;
    if (operation == "remove") {
        NoteRemoval(top);
    }
    std::vector<std::string> command{"queue", "add", "--op", operation};
    if (isFolder) {
        command.emplace_back("--folder");
    }
    command.push_back(SharePath(top));
    return test::RunVellumo(command) == 0 ? "tasks queued" : "tasks refused";
}

}  // namespace vellumo::soak
