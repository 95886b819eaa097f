// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_UTILS_ACCOUNTRECORDS_H
#define VELLUMO_UTILS_ACCOUNTRECORDS_H

#include <navo/user.h>

#include <memory>

// Owners of the platform's records, which free them.
namespace NAVO::VELLUMO {

struct RecordDeleter {
    void operator()(PNAVOUSER user) const { NAVOUserFree(user); }
    void operator()(PNAVOGROUP group) const { NAVOGroupFree(group); }
    void operator()(PNLIBCSZHASH hash) const { NLIBCSzHashFree(hash); }
};

using UserRecord = std::unique_ptr<NAVOUSER, RecordDeleter>;
using GroupRecord = std::unique_ptr<NAVOGROUP, RecordDeleter>;
using GroupHash = std::unique_ptr<NLIBCSZHASH, RecordDeleter>;

}  // namespace NAVO::VELLUMO

#endif
