// SPDX-License-Identifier: Apache-2.0
#include <navo/ea.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "fail.h"
#include "streamfolders.h"
#include "streamtree.h"
#include "support/Directory.h"

namespace NAVO::platform {
namespace {

using vellumo::support::NamesIn;
using vellumo::support::OpenDirectory;

// Visits the directories of streams in one tree, folder by folder.
class Walk {
public:
    Walk(NAVOEAVISITOR visit, void* context) : _visit(visit), _context(context) {}

    // Returns what the visitor has returned last.
    int Through(const std::string& tree) {
        std::vector<StreamDirectory> waiting{{tree, {}, "", {}}};
        int result = 0;
        while (!waiting.empty() && result == 0) {
            const StreamDirectory folder = std::move(waiting.back());
            waiting.pop_back();
            result = Visit(folder, waiting);
        }
        return result;
    }

private:
    int Visit(const StreamDirectory& folder, std::vector<StreamDirectory>& waiting) {
        std::vector<StreamDirectory> found;
        std::set<std::string> keys;
        for (const std::string& name : NamesIn(OpenDirectory(folder.Parent()))) {
            if (const auto directory = ParseName(folder, name)) {
                found.push_back(*directory);
                keys.insert(directory->key);
            } else if (!IsStreamDirectoryName(name)) {
                waiting.push_back(folder);
                waiting.back().folders.push_back(FolderOutside(name));
            }
        }
        return found.empty() ? 0 : Report(found, NamesOfFilesIn(folder.FileFolder(), keys));
    }

    int Report(const std::vector<StreamDirectory>& found,
               const std::optional<std::set<std::string>>& present) {
        int result = 0;
        for (size_t i = 0; i < found.size() && result == 0; ++i) {
            const std::string path = found[i].Path();
            const std::string folder = found[i].FileFolder();
            const NAVOEAENTRY entry{path.c_str(), folder.c_str(),
                                    !present || present->contains(found[i].Name()) ? TRUE : FALSE};
            result = _visit(&entry, _context);
        }
        return result;
    }

    NAVOEAVISITOR _visit;
    void* _context;
};

}  // namespace
}  // namespace NAVO::platform

int NAVOEAWalk(NAVOEAVISITOR visit, void* context) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (visit == nullptr) {
        return NAVO::platform::Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    NAVO::platform::Walk walk(visit, context);
    for (const std::string& tree : NAVO::platform::AllTrees()) {
        if (const int result = walk.Through(tree); result != 0) {
            return result;
        }
    }
    return 0;
}
