// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_LINKTOKEN_H
#define VELLUMO_LOADER_LINKTOKEN_H

#include <array>
#include <string>

namespace vellumo::loader {

// The tokens of sharing links. Whoever has a token has the link, so a token is never stored or
// logged as it is.

// 128 random bits as 22 characters of base64url.
std::string NewLinkToken();

// Whether `text` has the form of a token.
bool IsLinkToken(const std::string& text);

// 256 random bits as 64 hexadecimal digits.
std::string NewSessionToken();

// The SHA-256 of a token.
std::string HashOfToken(const std::string& token);

// The argon2id hash of a password, with its salt and costs, and the comparison with it. Both take
// 64 MiB of memory and a tenth of a second.
std::string HashOfPassword(const std::string& password);
bool IsPassword(const std::string& hash, const std::string& password);

// Seals tokens, so that their owners can be told them again. The key is 32 random bytes in a file
// that only root can read. A copy of the database without the key opens no link.
class LinkKey {
public:
    static constexpr const char* kFile = "/var/packages/Vellumo/etc/links.key";

    // Reads the key; makes it once, whole or not at all, when there is none. Throws
    // std::runtime_error when it cannot, or when the file is not a key that only root can read.
    explicit LinkKey(const std::string& file = kFile);

    std::string Seal(const std::string& token) const;

    // The token; "" when it was not sealed with this key.
    std::string Open(const std::string& sealed) const;

private:
    static constexpr size_t kBytes = 32;
    std::array<unsigned char, kBytes> _key{};
};

}  // namespace vellumo::loader

#endif
