// SPDX-License-Identifier: Apache-2.0
#include <navo/share.h>

#include <memory>
#include <string>
#include <utility>

#include "fail.h"
#include "parameters.h"
#include "smbshares.h"

namespace NAVO::platform {
namespace {

// The real type of the records that callers get: it owns the texts that the record points to.
struct ShareRecord : NAVOSHARE {
    explicit ShareRecord(Share share)
        : NAVOSHARE{}, name(std::move(share.name)), path(std::move(share.path)) {
        szName = name.data();
        szPath = path.data();
        status = share.isOnScaleVolume ? NAVO_SHARE_SCALE_VOLUME : 0;
    }

    std::string name;
    std::string path;
};

}  // namespace
}  // namespace NAVO::platform

int NAVOShareGet(const char* name, PNAVOSHARE* share) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    if (NAVO::platform::IsEmpty(name) || share == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const auto configuration = NAVO::platform::SmbConf::Load(NAVO::platform::kSmbConfFile);
    if (!configuration) {
        return Fail(NAVO_ERR_CONFIG);
    }
    auto found = NAVO::platform::FindShare(*configuration, name);
    if (!found) {
        return Fail(NAVO_ERR_NO_SUCH_SHARE, ENOENT);
    }
    *share = std::make_unique<NAVO::platform::ShareRecord>(std::move(*found)).release();
    return 0;
}

void NAVOShareFree(PNAVOSHARE share) {
    const std::unique_ptr<NAVO::platform::ShareRecord> owned(
        static_cast<NAVO::platform::ShareRecord*>(share));
}

int NAVOShareForEach(void (*visit)(const NAVOSHARE* share, void* context), void* context) {
    using NAVO::platform::Fail;
    const NAVO::platform::SuccessKeepsErrno success;
    if (visit == nullptr) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const auto configuration = NAVO::platform::SmbConf::Load(NAVO::platform::kSmbConfFile);
    if (!configuration) {
        return Fail(NAVO_ERR_CONFIG);
    }
    for (NAVO::platform::Share& share : NAVO::platform::AllShares(*configuration)) {
        const NAVO::platform::ShareRecord record(std::move(share));
        visit(&record, context);
    }
    return 0;
}
