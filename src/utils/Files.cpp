// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/path.hpp>
#include <locale>

#include "common/Log.h"
#include "common/RunAs.h"
#include "support/Descriptor.h"
#include "support/TemporaryFile.h"
#include "utils/ShareRecord.h"
#include "vellumo/Path.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO {
namespace {

using vellumo::support::Descriptor;

constexpr const char* kSource = "utils";

// A product of at most this many bytes comes from a conversion that failed.
constexpr off_t kLargestInvalidSize = 10;

// A file that has just been created. Removes it unless it is kept.
class NewFile {
public:
    explicit NewFile(const std::string& path) : _path(path) {}
    ~NewFile() {
        if (!_kept) {
            unlink(_path.c_str());
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void Keep() { _kept = true; }

private:
    const std::string& _path;
    bool _kept = false;
};

}  // namespace

bool VolumePathGet(const std::string& sharePath, std::string& volumePath) {
    const size_t begin = std::min<size_t>(1, sharePath.size());
    const std::string shareName = sharePath.substr(begin, sharePath.find('/', begin) - begin);

    const ShareRecord share = FindShare(shareName);
    if (!share) {
        log::Error(kSource, 92, "share name: %s", shareName.c_str());
        return false;
    }
    const std::string sharePathOnVolume = share->szPath;
    volumePath = sharePathOnVolume.substr(0, sharePathOnVolume.rfind('/'));
    return true;
}

bool GetFileType(const std::string& path, std::string& type) {
    type = boost::filesystem::path(path).extension().string();
    if (type.empty()) {
        return false;
    }
    std::use_facet<std::ctype<char>>(std::locale()).tolower(type.data(), type.data() + type.size());
    type.erase(0, 1);
    return true;
}

bool IsFileValidSize(const std::string& path) {
    const RunAsRoot root(kSource, 126);
    if (!root) {
        log::Error(kSource, 126, "cannot run as root");
        return false;
    }
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && status.st_size > kLargestInvalidSize;
}

bool CreateTmpFileNameWithType(const std::string& type, const std::string& dir, path::Path& out) {
    const std::string pattern = dir + "XXXXXX." + type;
    std::string name = pattern;
    const Descriptor file = vellumo::support::MakeTemporaryFile(name, type.size() + 1);
    if (!file) {
        log::Plain(kSource, 62, "mkstemp %s failed", pattern.c_str());
        return false;
    }
    NewFile made(name);
    out.SetData("realPath", name, true);
    made.Keep();
    return true;
}

bool RemoveFileDropCache(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!file) {
        return false;
    }
    const bool removed = unlink(path.c_str()) == 0;
    posix_fadvise(file.Get(), 0, 0, POSIX_FADV_DONTNEED);
    return removed;
}

}  // namespace NAVO::VELLUMO
