// SPDX-License-Identifier: Apache-2.0
#include "converter/Pinned.h"

#include "common/JsonAccess.h"
#include "path/ExtendedAttributes.h"

namespace NAVO::VELLUMO::converter {

Pinned::Pinned(const path::Path& source) : _source(source) {
    const std::string realPath = source.GetRealPath("");
    if (source.HasData(ea::kMeant)) {
        _directory = json::Text(source.GetData(ea::kMeant, ""), "");
    } else if (!realPath.empty()) {
        ea::DirectoryOf(realPath, _directory);
    }
    if (realPath.empty() || _directory.empty()) {
        return;
    }
    _pinned.SetData("realPath", realPath, true);
    _pinned.SetData(ea::kMeant, _directory, true);
    if (source.HasData("fileType")) {
        _pinned.SetData("fileType", source.GetFileType(""), true);
    }
    _isKnown = true;
}

}  // namespace NAVO::VELLUMO::converter
