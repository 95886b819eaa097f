// SPDX-License-Identifier: Apache-2.0
#include "documents/Folder.h"

#include <algorithm>
#include <filesystem>

#include "loader/Text.h"
#include "vellumo/utils.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;

bool IsConvertible(const std::string& name) {
    std::string type;
    return core::GetFileType(name, type) && loader::FamilyOf(type) != nullptr;
}

// A walk through a folder and all folders below it.
class Walk {
public:
    explicit Walk(const loader::Document& top)
        : _sharePath(top.sharePath), _realPath(top.realPath) {
        while (_sharePath.ends_with('/')) {
            _sharePath.pop_back();
        }
    }

    FolderContents Run() {
        std::vector<std::string> open{""};
        while (!open.empty()) {
            const std::string folder = open.back();
            open.pop_back();
            List(folder, open);
        }
        std::sort(_contents.documents.begin(), _contents.documents.end());
        return std::move(_contents);
    }

private:
    // `folder`: its path below the top, beginning with a slash; "" for the top itself.
    void List(const std::string& folder, std::vector<std::string>& open) {
        std::error_code error;
        fs::directory_iterator entry(_realPath + folder, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            Add(folder, *entry, open);
        }
        if (error) {
            _contents.unreadable.push_back(
                {ExitCode::kBadInput,
                 "cannot list " + _sharePath + folder,
                 error.message(),
                 "Check the permissions of the folder " + loader::ShellWord(_realPath + folder),
                 {}});
        }
    }

    void Add(const std::string& folder, const fs::directory_entry& entry,
             std::vector<std::string>& open) {
        const std::string name = entry.path().filename();
        if (name.starts_with('.')) {
            return;
        }
        std::error_code error;
        const fs::file_status status = entry.symlink_status(error);
        if (fs::is_directory(status)) {
            open.push_back(folder + "/" + name);
        } else if (fs::is_regular_file(status) && IsConvertible(name)) {
            _contents.documents.push_back(_sharePath + folder + "/" + name);
        }
    }

    std::string _sharePath;
    std::string _realPath;
    FolderContents _contents;
};

}  // namespace

FolderContents ContentsOf(const loader::Document& folder) {
    return Walk(folder).Run();
}

bool IsFolder(const loader::Document& document) {
    return loader::FactsOf(document).kind == "directory";
}

}  // namespace vellumo::cli
