// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_APIREQUEST_H
#define NAVO_APIREQUEST_H

#include <string>

#include "base.h"

namespace NAVO {

// What a sharing link and a visit to it are recorded as; named as the records' columns are.
namespace sharing::record {

// NOLINTBEGIN(readability-identifier-naming)

// A sharing link.
class NAVO_API Entry {
public:
    // The account name of the user who made the link; "" when it is not known.
    const std::string& get_owner_user() const { return _ownerUser; }
    void set_owner_user(const std::string& user) { _ownerUser = user; }

private:
    std::string _ownerUser;
};

// One visitor's session with a sharing link.
class NAVO_API Session {
public:
    static constexpr int kNoUser = -1;

    // The visitor's user id, kNoUser for one without an account. Ids above 2^31 show as the
    // negative number of the same 32 bits.
    int get_uid() const { return _uid; }
    void set_uid(int uid) { _uid = uid; }

private:
    int _uid = kNoUser;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace sharing::record

// One request to the web API, as far as the platform's operations ask about it. The web handler
// fills it; a new one is a request of nobody from nowhere. An object belongs to one thread at a
// time; the references that it gives live as long as it does.
class NAVO_API APIRequest {
public:
    // The client's address in text form, such as 192.0.2.7 or 2001:db8::7.
    const std::string& GetRemoteIP() const { return _remoteIP; }
    void SetRemoteIP(const std::string& address) { _remoteIP = address; }

    // The account name of the user who is logged in, "" when nobody is.
    const std::string& GetLoginUserName() const { return _loginUserName; }
    void SetLoginUserName(const std::string& user) { _loginUserName = user; }

    // Whether it comes through a sharing link; then the next two tell which link and whose visit.
    bool IsSharing() const { return _isSharing; }
    const sharing::record::Entry& GetSharingEntry() const { return _entry; }
    const sharing::record::Session& GetSharingSession() const { return _session; }

    // Makes it a request through the link `entry` in `session`.
    void SetSharing(const sharing::record::Entry& entry, const sharing::record::Session& session) {
        _isSharing = true;
        _entry = entry;
        _session = session;
    }

private:
    std::string _remoteIP;
    std::string _loginUserName;
    bool _isSharing = false;
    sharing::record::Entry _entry;
    sharing::record::Session _session;
};

}  // namespace NAVO

#endif
