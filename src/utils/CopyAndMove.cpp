// SPDX-License-Identifier: Apache-2.0
#include <navo/file.h>

#include "vellumo/utils.h"

namespace NAVO::VELLUMO {

bool MoveOrCopyFile(const std::string& source, const std::string& destination, bool move) {
    NAVOFILECOPYOPTIONS options{};
    options.replace = 1;
    options.move = move ? 1 : 0;
    return NAVOFileCopy(source.c_str(), destination.c_str(), &options) == 0;
}

bool MoveFile(const std::string& source, const std::string& destination) {
    return MoveOrCopyFile(source, destination, true);
}

bool CopyFile(const std::string& source, const std::string& destination) {
    return MoveOrCopyFile(source, destination, false);
}

}  // namespace NAVO::VELLUMO
