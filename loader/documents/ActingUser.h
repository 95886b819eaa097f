// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_ACTINGUSER_H
#define VELLUMO_LOADER_ACTINGUSER_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace vellumo::loader {

// Makes the process act as somebody else for as long as the object lives: with the effective user,
// group and supplementary groups of the account. The ids belong to the whole process, so no two
// threads may do this at once. Ends the process when it cannot take its own ids back.
class ActingUser {
public:
    explicit ActingUser(const std::string& account);
    ~ActingUser();
    ActingUser(const ActingUser&) = delete;
    ActingUser& operator=(const ActingUser&) = delete;

    // Whether the process acts as the account; else Error() says why not, as in errno.
    explicit operator bool() const { return _error == 0; }
    int Error() const { return _error; }

private:
    int Enter(const std::string& account) const;
    bool Leave() const;

    uid_t _user;
    gid_t _group;
    std::vector<gid_t> _groups;
    int _error;
};

}  // namespace vellumo::loader

#endif
