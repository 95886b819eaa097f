// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_SHARES_H
#define VELLUMO_LOADER_SHARES_H

#include <optional>
#include <string>
#include <vector>

namespace vellumo::loader {

// A share of the server.
struct Share {
    std::string name;
    std::string folder;  // absolute, without a trailing slash, as in Samba's configuration
};

// All shares, by their names; the folder in which homes lie is the share "homes". Throws Failure
// when Samba's configuration cannot be read.
std::vector<Share> Shares();

// The way back from a real path to a share path.
class ShareMap {
public:
    explicit ShareMap(std::vector<Share> shares);

    // The share path of `realPath`: in the share with the innermost folder around it, and in the
    // first by name of those with the same folder. Returns nothing for a path in no share. Accesses
    // no file, so links are not followed.
    std::optional<std::string> SharePathOf(const std::string& realPath) const;

    const std::vector<Share>& All() const { return _shares; }

private:
    std::vector<Share> _shares;  // the longest folder first
};

}  // namespace vellumo::loader

#endif
