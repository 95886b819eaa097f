// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_SAMBA_H
#define VELLUMO_TESTS_SAMBA_H

#include <string>

#include "Accounts.h"
#include "Device.h"
#include "Process.h"

// A server and clients of the test's own. Nothing of a Samba of this machine is used or changed:
// all files are in the device's folder, and the network is that of the test process alone.
namespace vellumo::test {

inline constexpr const char* kThisMachine = "127.0.0.1";
inline constexpr const char* kOfficeHost = "10.0.0.7";
inline constexpr const char* kOtherHost = "192.168.5.5";

// A test on a fresh device with the accounts ann, bob and carl, who have a password for SMB. It is
// skipped without root's rights, and where Samba is not installed.
class SambaTest : public DeviceTest {
protected:
    void SetUp() override;

    // Writes smb.conf: the shares docs, volume (all of /volume1) and homes, with `settings` in docs
    // and homes.
    static void Share(const std::string& settings = "", const std::string& global = "");

    // Lets `user` run commands of smbclient in a share, from the host `address`. Returns the exit
    // status, which is that of the last command, and the output.
    static Finished AsUser(const std::string& user, const std::string& share,
                           const std::string& commands, const char* address = kThisMachine);

    // What `user` gets when reading a file; "" when that fails.
    static std::string Fetched(const std::string& user, const std::string& share,
                               const std::string& path, const char* address = kThisMachine);

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
};

}  // namespace vellumo::test

#endif
