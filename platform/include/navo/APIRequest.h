// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_APIREQUEST_H
#define NAVO_APIREQUEST_H

#include <string>

#include "base.h"

namespace NAVO {

// The records of a sharing link and of a visit to it. Members have the names of the columns.
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
    // The id of a visitor without an account.
    static constexpr int kNoUser = -1;

    // The visitor's user id, kNoUser for a visitor without an account. An id of 2^31 or more is the
    // negative number with the same 32 bits.
    int get_uid() const { return _uid; }
    void set_uid(int uid) { _uid = uid; }

private:
    int _uid = kNoUser;
};

// NOLINTEND(readability-identifier-naming)

}  // namespace sharing::record

// One request to the web API, with the data that the platform's operations need. The web handler
// fills it; a new object has no user and no address. One thread at a time may use an object. The
// references that it returns are valid as long as it lives.
class NAVO_API APIRequest {
public:
    // The client's address in text form, such as 192.0.2.7 or 2001:db8::7.
    const std::string& GetRemoteIP() const { return _remoteIP; }
    void SetRemoteIP(const std::string& address) { _remoteIP = address; }

    // The account name of the logged-in user; "" when nobody is logged in.
    const std::string& GetLoginUserName() const { return _loginUserName; }
    void SetLoginUserName(const std::string& user) { _loginUserName = user; }

    // Whether the request comes through a sharing link. If so, the next two return the link and the
    // visitor's session.
    bool IsSharing() const { return _isSharing; }
    const sharing::record::Entry& GetSharingEntry() const { return _entry; }
    const sharing::record::Session& GetSharingSession() const { return _session; }

    // Makes this a request through the link `entry` in the session `session`; copies both.
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
