// SPDX-License-Identifier: Apache-2.0
#include "utils/AccountRecords.h"
#include "vellumo/utils_user_group.h"

namespace NAVO::VELLUMO {

bool GroupToGID(const std::string& name, unsigned int& gid) {
    return NAVOGroupGetGID(name.c_str(), &gid) == 0;
}

bool GIDToGroup(const unsigned int& gid, std::string& name) {
    PNAVOGROUP found = nullptr;
    const int result = NAVOGroupGetByGID(gid, &found);
    const GroupRecord group(found);
    if (result != 0 || !group) {
        return false;
    }
    name = group->szName;
    return true;
}

bool UserGroupsGet(NAVOUSER* user, std::set<unsigned int>& gids) {
    const GroupHash groups(user == nullptr ? nullptr : NLIBGroupInfoHashGet(user->szName, 1, 0));
    if (!groups) {
        return false;
    }
    for (int32_t i = 0; i < groups->count; ++i) {
        const char* name = groups->items[i].szKey;
        unsigned int gid = 0;
        if (name != nullptr && NAVOGroupGetGID(name, &gid) == 0) {
            gids.insert(gid);
        }
    }
    return true;
}

}  // namespace NAVO::VELLUMO
