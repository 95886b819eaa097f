// SPDX-License-Identifier: Apache-2.0
#include "message/SessionMark.h"

#include <sodium.h>

#include <array>

namespace vellumo::web::message {

std::string SessionMark(const std::string& token) {
    constexpr size_t kShown = 4;
    if (token.empty()) {
        return "-";
    }
    std::array<unsigned char, crypto_hash_sha256_BYTES> hash{};
    crypto_hash_sha256(hash.data(), reinterpret_cast<const unsigned char*>(token.data()),
                       token.size());
    std::array<char, (2 * kShown) + 1> digits{};
    sodium_bin2hex(digits.data(), digits.size(), hash.data(), kShown);
    return digits.data();
}

}  // namespace vellumo::web::message
