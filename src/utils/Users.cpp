// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string_view>

#include "common/Log.h"
#include "utils/AccountRecords.h"
#include "vellumo/utils_user_group.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "utils_user_group";
constexpr size_t kNameSize = 493;  // with the terminating null character
using NameBuffer = std::array<char, kNameSize>;

NameBuffer Cut(std::string_view name) {
    NameBuffer cut{};
    name.copy(cut.data(), cut.size() - 1);
    return cut;
}

// Returns the record of the account with exactly that name; null when there is none.
UserRecord Find(const char* name) {
    PNAVOUSER user = nullptr;
    const int result = NAVOUserGet(name, &user);
    UserRecord record(user);
    return result == 0 ? std::move(record) : nullptr;
}

std::string LocalName(const NameBuffer& login) {
    NameBuffer real{};
    if (NLIBUserRealNameGet(login.data(), real.data(), real.size()) >= 0) {
        return real.data();
    }
    const UserRecord user = Find(login.data());
    return user ? user->szName : login.data();
}

// Never returns the name as it was typed: of a domain, only accounts that the platform knows count.
std::string DomainName(const NameBuffer& login) {
    NameBuffer shortName{};
    if (NAVOWinsUserNameFqdn2Netbios(login.data(), shortName.data(), shortName.size()) <= 0) {
        shortName = login;
    }
    NameBuffer real{};
    return NLIBUserRealNameGet(shortName.data(), real.data(), real.size()) >= 0 ? real.data() : "";
}

}  // namespace

std::string GetRealUsername(const char* name) {
    if (name == nullptr) {
        return "";
    }
    NameBuffer login{};
    if (NAVOUserLoginNameConvert(name, login.data(), login.size()) <= 0) {
        login = Cut(name);
    }
    const bool isOfDomain = std::string_view(login.data()).find('\\') != std::string_view::npos;
    return isOfDomain ? DomainName(login) : LocalName(login);
}

bool UserGet(const char* name, NAVOUSER*& user) {
    const std::string realName = GetRealUsername(name);
    PNAVOUSER found = nullptr;
    // Any other result of the platform counts as success.
    if (NAVOUserGet(realName.c_str(), &found) == -1) {
        log::Plain(kSource, __LINE__, "No such user [%s]", realName.c_str());
        return false;
    }
    user = found;
    return true;
}

bool UserToUID(const std::string& name, unsigned int& uid) {
    const UserRecord user = Find(GetRealUsername(name.c_str()).c_str());
    if (!user) {
        return false;
    }
    uid = user->uid;
    return true;
}

bool UIDToUser(const unsigned int& uid, std::string& name) {
    PNAVOUSER found = nullptr;
    const int result = NAVOUserGetByUID(uid, &found);
    const UserRecord user(found);
    if (result != 0 || !user) {
        return false;
    }
    name = user->szName;
    return true;
}

}  // namespace NAVO::VELLUMO
