// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_UTILS_SHARERECORD_H
#define VELLUMO_UTILS_SHARERECORD_H

#include <navo/share.h>

#include <memory>
#include <string>

namespace NAVO::VELLUMO {

struct ShareDeleter {
    void operator()(PNAVOSHARE share) const { NAVOShareFree(share); }
};

// Owns the platform's record of a share and frees it.
using ShareRecord = std::unique_ptr<NAVOSHARE, ShareDeleter>;

// Returns the record of the share `name`; null when the platform knows no such share. Logs nothing.
inline ShareRecord FindShare(const std::string& name) {
    PNAVOSHARE share = nullptr;
    return ShareRecord(NAVOShareGet(name.c_str(), &share) == 0 ? share : nullptr);
}

}  // namespace NAVO::VELLUMO

#endif
