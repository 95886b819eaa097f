// SPDX-License-Identifier: Apache-2.0
#include "loader/links/LinkToken.h"

#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "support/Descriptor.h"
#include "support/TemporaryFile.h"

namespace vellumo::loader {
namespace {

using support::Descriptor;

constexpr size_t kTokenBytes = 16;
constexpr size_t kTokenLetters = 22;
constexpr size_t kVisitBytes = 32;
constexpr mode_t kOthers = S_IRWXG | S_IRWXO;

static_assert(crypto_secretbox_KEYBYTES == 32);

const unsigned char* BytesOf(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* BytesOf(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

[[noreturn]] void Refuse(const std::string& file, const std::string& why) {
    throw std::runtime_error("cannot use the key of the sharing links, " + file + ": " + why);
}

// Another process may do the same at this moment: the key is the file that got the name first.
void MakeKey(const std::string& file) {
    std::string name = file + ".XXXXXX";
    const Descriptor made = support::MakeTemporaryFile(name);
    if (!made) {
        Refuse(file, std::strerror(errno));
    }
    std::array<unsigned char, crypto_secretbox_KEYBYTES> key{};
    crypto_secretbox_keygen(key.data());
    const bool isWritten =
        write(made.Get(), key.data(), key.size()) == static_cast<ssize_t>(key.size()) &&
        fsync(made.Get()) == 0 && (link(name.c_str(), file.c_str()) == 0 || errno == EEXIST);
    const int error = errno;
    unlink(name.c_str());
    if (!isWritten) {
        Refuse(file, std::strerror(error));
    }
    const Descriptor folder(
        open(file.substr(0, file.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder || fsync(folder.Get()) != 0) {
        Refuse(file, std::strerror(errno));
    }
}

Descriptor OpenKey(const std::string& file) {
    return Descriptor(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

}  // namespace

std::string NewLinkToken() {
    std::array<unsigned char, kTokenBytes> random{};
    std::array<char, kTokenLetters + 1> letters{};
    randombytes_buf(random.data(), random.size());
    sodium_bin2base64(letters.data(), letters.size(), random.data(), random.size(),
                      sodium_base64_VARIANT_URLSAFE_NO_PADDING);
    return letters.data();
}

bool IsLinkToken(const std::string& text) {
    return text.size() == kTokenLetters &&
           std::all_of(text.begin(), text.end(), [](unsigned char letter) {
               return std::isalnum(letter) != 0 || letter == '-' || letter == '_';
           });
}

std::string NewSessionToken() {
    std::array<unsigned char, kVisitBytes> random{};
    std::array<char, (2 * kVisitBytes) + 1> digits{};
    randombytes_buf(random.data(), random.size());
    sodium_bin2hex(digits.data(), digits.size(), random.data(), random.size());
    return digits.data();
}

std::string HashOfToken(const std::string& token) {
    std::string hash(crypto_hash_sha256_BYTES, '\0');
    crypto_hash_sha256(BytesOf(hash), BytesOf(token), token.size());
    return hash;
}

std::string HashOfPassword(const std::string& password) {
    std::array<char, crypto_pwhash_STRBYTES> hash{};
    if (crypto_pwhash_str(hash.data(), password.data(), password.size(),
                          crypto_pwhash_OPSLIMIT_INTERACTIVE,
                          crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0) {
        throw std::runtime_error("there is no memory to hash a password");
    }
    return hash.data();
}

bool IsPassword(const std::string& hash, const std::string& password) {
    return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

LinkKey::LinkKey(const std::string& file) {
    // Without it, libsodium computes argon2id without the processor's vector instructions.
    if (sodium_init() < 0) {
        Refuse(file, "libsodium does not work here");
    }
    Descriptor opened = OpenKey(file);
    if (!opened && errno == ENOENT) {
        MakeKey(file);
        opened = OpenKey(file);
    }
    struct stat status {};
    if (!opened || fstat(opened.Get(), &status) != 0) {
        Refuse(file, std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & kOthers) != 0) {
        Refuse(file, "others than root can open it");
    }
    if (status.st_size != static_cast<off_t>(_key.size()) ||
        read(opened.Get(), _key.data(), _key.size()) != static_cast<ssize_t>(_key.size())) {
        Refuse(file, "it does not have 32 bytes");
    }
}

std::string LinkKey::Seal(const std::string& token) const {
    constexpr size_t kNonce = crypto_secretbox_NONCEBYTES;
    std::string sealed(kNonce + crypto_secretbox_MACBYTES + token.size(), '\0');
    randombytes_buf(sealed.data(), kNonce);
    crypto_secretbox_easy(BytesOf(sealed) + kNonce, BytesOf(token), token.size(), BytesOf(sealed),
                          _key.data());
    return sealed;
}

std::string LinkKey::Open(const std::string& sealed) const {
    constexpr size_t kNonce = crypto_secretbox_NONCEBYTES;
    if (sealed.size() < kNonce + crypto_secretbox_MACBYTES) {
        return "";
    }
    std::string token(sealed.size() - kNonce - crypto_secretbox_MACBYTES, '\0');
    const bool isGood =
        crypto_secretbox_open_easy(BytesOf(token), BytesOf(sealed) + kNonce, sealed.size() - kNonce,
                                   BytesOf(sealed), _key.data()) == 0;
    return isGood ? token : "";
}

}  // namespace vellumo::loader
