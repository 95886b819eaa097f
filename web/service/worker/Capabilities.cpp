// SPDX-License-Identifier: Apache-2.0
#include "worker/Capabilities.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace vellumo::web::worker {
namespace {

using Sets = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

[[noreturn]] void Fail() {
    throw std::runtime_error(std::string("cannot give up capabilities: ") + std::strerror(errno));
}

void KeepInSets(const std::vector<int>& capabilities) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    Sets sets{};
    if (syscall(SYS_capget, &header, sets.data()) != 0) {
        Fail();
    }
    Sets kept{};
    for (const int capability : capabilities) {
        kept.at(static_cast<size_t>(CAP_TO_INDEX(capability))).permitted |= CAP_TO_MASK(capability);
    }
    for (size_t i = 0; i < sets.size(); ++i) {
        sets.at(i).permitted &= kept.at(i).permitted;
        sets.at(i).effective = sets.at(i).permitted;
        sets.at(i).inheritable = 0;
    }
    if (syscall(SYS_capset, &header, sets.data()) != 0) {
        Fail();
    }
}

}  // namespace

std::vector<int> CapabilitiesForLooking() {
    // Modules of PAM that look at an account report to the kernel's audit.
    return {CAP_SETUID, CAP_SETGID, CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH,
            CAP_CHOWN,  CAP_FOWNER, CAP_KILL,         CAP_AUDIT_WRITE};
}

std::vector<int> CapabilitiesForLogin() {
    return {CAP_SETUID,          CAP_SETGID, CAP_DAC_OVERRIDE,
            CAP_DAC_READ_SEARCH, CAP_CHOWN,  CAP_AUDIT_WRITE};
}

std::vector<int> CapabilitiesForConverting() {
    std::vector<int> capabilities = CapabilitiesForLooking();
    capabilities.insert(capabilities.end(),
                        {CAP_SYS_ADMIN, CAP_SYS_CHROOT, CAP_SETPCAP, CAP_NET_ADMIN});
    return capabilities;
}

// The bounding set first: to shrink it takes a capability that is given up then.
void KeepOnly(const std::vector<int>& capabilities) {
    for (int capability = 0; prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability) {
        const bool isKept =
            std::find(capabilities.begin(), capabilities.end(), capability) != capabilities.end();
        if (!isKept && prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) {
            Fail();
        }
    }
    KeepInSets(capabilities);
}

}  // namespace vellumo::web::worker
