// SPDX-License-Identifier: Apache-2.0
#include <navo/user.h>

#include <optional>
#include <string>
#include <string_view>

#include "account.h"
#include "casefold.h"
#include "fail.h"
#include "parameters.h"
#include "smbshares.h"

namespace NAVO::platform {
namespace {

constexpr char kDomainEnd = '\\';
constexpr size_t kLongestNetbiosName = 15;

bool AreUsable(const char* name, const char* buffer, size_t size) {
    return !IsEmpty(name) && buffer != nullptr && size > 0;
}

// Copies `text` into `buffer` and returns its length.
int Deliver(std::string_view text, char* buffer, size_t size) {
    if (text.size() >= size) {
        return Fail(NAVO_ERR_NAME_TOO_LONG, ENAMETOOLONG);
    }
    buffer[text.copy(buffer, size - 1)] = '\0';
    return static_cast<int>(text.size());
}

// The server's own domain; both names are empty when the server belongs to no domain.
struct Domain {
    std::string realm;
    std::string workgroup;
};

Domain OwnDomain() {
    const auto configuration = SmbConf::Load(kSmbConfFile);
    const SmbConf::Section* global = configuration ? configuration->Find("global") : nullptr;
    return global == nullptr ? Domain{} : Domain{global->Text("realm"), global->Text("workgroup")};
}

bool IsSameDomain(std::string_view one, std::string_view other) {
    return !one.empty() && LowerCase(one) == LowerCase(other);
}

std::string UpperAscii(std::string_view text) {
    std::string upper(text);
    for (char& c : upper) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return upper;
}

// Returns the short name of the fully qualified `domain`; "" when its first label is empty.
std::string ShortDomainName(std::string_view domain) {
    const Domain own = OwnDomain();
    if (!own.workgroup.empty() && IsSameDomain(domain, own.realm)) {
        return own.workgroup;
    }
    return UpperAscii(domain.substr(0, domain.find('.')).substr(0, kLongestNetbiosName));
}

}  // namespace
}  // namespace NAVO::platform

using NAVO::platform::Deliver;
using NAVO::platform::Fail;

int NAVOUserLoginNameConvert(const char* name, char* buffer, size_t size) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (!NAVO::platform::AreUsable(name, buffer, size)) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const std::string login(name);
    if (login.size() >= size) {
        return Fail(NAVO_ERR_NAME_TOO_LONG, ENAMETOOLONG);
    }
    const size_t at = login.rfind('@');
    if (at == std::string::npos || at == 0 || login.find(NAVO::platform::kDomainEnd) < at) {
        return 0;
    }
    const std::string realm = NAVO::platform::OwnDomain().realm;
    if (!NAVO::platform::IsSameDomain(realm, std::string_view(login).substr(at + 1)) ||
        NAVO::platform::FindAccount(login)) {
        return 0;
    }
    return Deliver(realm + NAVO::platform::kDomainEnd + login.substr(0, at), buffer, size);
}

int NLIBUserRealNameGet(const char* name, char* buffer, size_t size) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (!NAVO::platform::AreUsable(name, buffer, size)) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const auto account = NAVO::platform::FindAccount(name);
    return account ? Deliver(account->name, buffer, size) : Fail(NAVO_ERR_NO_SUCH_USER);
}

int NAVOWinsUserNameFqdn2Netbios(const char* name, char* buffer, size_t size) {
    const NAVO::platform::SuccessKeepsErrno success;
    if (!NAVO::platform::AreUsable(name, buffer, size)) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const std::string_view whole(name);
    const size_t end = whole.find(NAVO::platform::kDomainEnd);
    const std::string_view domain = whole.substr(0, end == std::string_view::npos ? 0 : end);
    if (domain.find('.') == std::string_view::npos) {
        return 0;
    }
    std::string shortName = NAVO::platform::ShortDomainName(domain);
    if (shortName.empty()) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    return Deliver(shortName.append(whole.substr(end)), buffer, size);
}
