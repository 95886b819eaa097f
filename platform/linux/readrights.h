// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_READRIGHTS_H
#define NAVO_LINUX_READRIGHTS_H

#include <cstdint>

namespace NAVO::platform {

// While the object lives, the calling thread may search and list every directory, if its process is
// root's: such a process may act as another user at the moment, who cannot enter the trees of
// streams or the folders of others' files. Has no effect in any other process. Keeps errno.
class ReadRights {
public:
    ReadRights();
    ~ReadRights();
    ReadRights(const ReadRights&) = delete;
    ReadRights& operator=(const ReadRights&) = delete;

private:
    uint32_t _before = 0;  // effective capabilities
    bool _raised = false;
};

}  // namespace NAVO::platform

#endif
