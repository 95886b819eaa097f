// SPDX-License-Identifier: Apache-2.0
#include "documents/Folder.h"

#include <fnmatch.h>
#include <sys/stat.h>

#include <algorithm>

#include "loader/Text.h"
#include "loader/documents/FolderRules.h"

namespace vellumo::cli {
namespace {

namespace fs = std::filesystem;

bool Matches(const std::string& pattern, const std::string& text) {
    return fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
}

}  // namespace

FolderWalk::FolderWalk(const loader::Document& top, const FolderFilter& filter)
    : _sharePath(top.sharePath), _realPath(top.realPath), _filter(filter) {
    while (_sharePath.ends_with('/')) {
        _sharePath.pop_back();
    }
}

bool FolderWalk::Step(std::optional<FoundDocument>& found) {
    found.reset();
    if (_entry == fs::directory_iterator()) {
        return OpenNextFolder();
    }
    found = Examine(*_entry);
    std::error_code error;
    _entry.increment(error);
    NoteError(error);
    return true;
}

bool FolderWalk::OpenNextFolder() {
    if (_waiting.empty()) {
        return false;
    }
    _folder = std::move(_waiting.back());
    _waiting.pop_back();
    std::error_code error;
    _entry = fs::directory_iterator(_realPath + _folder, error);
    NoteError(error);
    return true;
}

void FolderWalk::NoteError(const std::error_code& error) {
    if (error) {
        _entry = {};
        _unreadable.push_back(
            {ExitCode::kBadInput,
             "cannot list " + _sharePath + _folder,
             error.message(),
             "Check the permissions of the folder " + loader::ShellWord(_realPath + _folder),
             {}});
    }
}

std::optional<FoundDocument> FolderWalk::Examine(const fs::directory_entry& entry) {
    const std::string name = entry.path().filename();
    const std::string path = _folder + "/" + name;
    if (IsSkipped(name, path)) {
        return std::nullopt;
    }
    std::error_code error;
    const fs::file_status status = entry.symlink_status(error);
    if (fs::is_directory(status)) {
        _waiting.push_back(path);
    }
    return fs::is_regular_file(status) && loader::IsConvertible(name) ? Document(path)
                                                                      : std::nullopt;
}

bool FolderWalk::IsSkipped(const std::string& name, const std::string& path) const {
    if (loader::IsHidden(name) || (_filter.skipsLeftovers && loader::IsLeftover(name))) {
        return true;
    }
    return std::any_of(_filter.excluded.begin(), _filter.excluded.end(), [&](const auto& pattern) {
        return Matches(pattern, name) || Matches(pattern, path.substr(1));
    });
}

std::optional<FoundDocument> FolderWalk::Document(const std::string& path) const {
    struct stat status {};
    const std::string realPath = _realPath + path;
    // A document that cannot be examined is found all the same: its conversion explains why.
    const bool isKnown = lstat(realPath.c_str(), &status) == 0;
    if (isKnown && _filter.newerThan && status.st_mtim.tv_sec < *_filter.newerThan) {
        return std::nullopt;
    }
    return FoundDocument{_sharePath + path, realPath, status.st_size};
}

FolderContents ContentsOf(const loader::Document& folder) {
    const FolderFilter all;
    FolderWalk walk(folder, all);
    FolderContents contents;
    for (std::optional<FoundDocument> found; walk.Step(found);) {
        if (found) {
            contents.documents.push_back(std::move(found->sharePath));
        }
    }
    std::sort(contents.documents.begin(), contents.documents.end());
    contents.unreadable = walk.Unreadable();
    return contents;
}

bool IsFolder(const loader::Document& document) {
    return loader::FactsOf(document).kind == "directory";
}

}  // namespace vellumo::cli
