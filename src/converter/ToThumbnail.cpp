// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/file.h>

#include "common/Log.h"
#include "common/ResultCode.h"
#include "converter/ConvertingManager.h"
#include "converter/ErrorFileManager.h"
#include "converter/Pinned.h"
#include "converter/ScratchFiles.h"
#include "support/Descriptor.h"
#include "support/FileCopy.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO::converter {
namespace {

constexpr const char* kSource = "Converter";
constexpr const char* kFirstPage = "1-1";

void RemoveIfThere(const path::Path& scratch) {
    const std::string path = scratch.GetRealPath("");
    if (!path.empty() && NLIBCFileExist(path.c_str()) != FALSE) {
        RemoveFileDropCache(path);
    }
}

// One attempt to make a thumbnail. At its end it removes the scratch files; after a success it also
// removes the marker of a failure, otherwise the file in the thumbnail's place.
class Attempt {
public:
    explicit Attempt(const std::string& thumbnailPath)
        : thumbnail(thumbnailPath), _marker(thumbnailPath) {}
    ~Attempt() {
        RemoveIfThere(page);
        RemoveIfThere(picture);
        if (_succeeded) {
            _marker.Remove();
        } else if (!thumbnail.empty()) {
            RemoveFileDropCache(thumbnail);
        }
    }
    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

    bool Mark() { return _marker.Touch(); }
    void Succeed() { _succeeded = true; }

    const std::string thumbnail;
    path::Path page;     // the first page's PDF (or an e-book's cover), in the scratch directory
    path::Path picture;  // the PNG, in the scratch directory

private:
    thumbnail::ErrorFileManager _marker;
    bool _succeeded = false;
};

// The kept PDF of the pinned file; "" when there is none.
std::string KeptPdf(const Pinned& document) {
    const std::string path = document.Source().GetEAPathWithType(SZK_THUMB_PDF_TYPE, "");
    const bool isOfPinned = path == document.Directory() + '/' + SZK_THUMB_PDF_TYPE;
    return isOfPinned && NLIBCFileExist(path.c_str()) != FALSE ? path : "";
}

// Where the thumbnail of the pinned file belongs; "" when another file has its name by now.
std::string ThumbnailOf(const Pinned& document) {
    const std::string path = document.Source().GetEAPathWithType(SZK_THUMB_TYPE, "");
    return path == document.Directory() + '/' + SZK_THUMB_TYPE ? path : "";
}

bool PutInPlace(const path::Path& picture, const std::string& thumbnail) {
    const std::string path = picture.GetRealPath("");
    const vellumo::support::Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!file) {
        return false;
    }
    // After a power cut, an empty file would count as the thumbnail.
    const bool moved = vellumo::support::SyncContent(path) && MoveFile(path, thumbnail);
    posix_fadvise(file.Get(), 0, 0, POSIX_FADV_DONTNEED);
    return moved;
}

int CutFirstPage(const Pinned& document, path::Path& page) {
    const std::string kept = KeptPdf(document);
    if (kept.empty()) {
        return ToPDF(document.Source(), page, kFirstPage);
    }
    path::Path first;
    first.SetData("realPath", kept, true);
    return ToPDF(first, page, kFirstPage);
}

int Make(const Pinned& document, Attempt& attempt) {
    int result = CutFirstPage(document, attempt.page);
    if (result != kResultSuccess) {
        return result;
    }
    ImageMagickConverter renderer(ContainerPoolManager::PRIORITY_LOW);
    result = renderer.Convert("png", attempt.page, attempt.picture);
    if (result != kResultSuccess) {
        return result;
    }
    return PutInPlace(attempt.picture, attempt.thumbnail) ? kResultSuccess : kResultNotPrepared;
}

}  // namespace

int ToThumbnail(const path::Path& source) {
    const Pinned document(source);
    const std::string thumbnail = ThumbnailOf(document);
    ConvertingManager converting(source.GetRealPath("") + ":thumbnail");
    if (!converting.Insert()) {
        return kResultSuccess;  // another process is making it
    }
    const ScratchLease lease;
    Attempt attempt(thumbnail);
    if (!attempt.Mark()) {
        log::Failed(kSource, 403, "! errMgr.Touch()");
        return kResultNotPrepared;
    }
    const int result = Make(document, attempt);
    if (result == kResultSuccess) {
        attempt.Succeed();
    }
    return result;
}

}  // namespace NAVO::VELLUMO::converter
