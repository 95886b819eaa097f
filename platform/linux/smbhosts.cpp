// SPDX-License-Identifier: Apache-2.0
#include "smbhosts.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

#include "casefold.h"
#include "smblist.h"

namespace NAVO::platform {
namespace {

// The bytes of an address, 4 or 16 of them.
using Address = std::vector<unsigned char>;

constexpr size_t kIPv4Size = 4;
constexpr size_t kIPv6Size = 16;
constexpr size_t kBitsInByte = 8;

std::optional<Address> Parsed(int family, size_t size, const std::string& text) {
    Address address(size);
    return inet_pton(family, text.c_str(), address.data()) == 1 ? std::optional(address)
                                                                : std::nullopt;
}

// An IPv4 address that is written as an IPv6 one is an IPv4 address.
Address Unmapped(const Address& address) {
    constexpr std::array<unsigned char, kIPv6Size - kIPv4Size> kMapped{0, 0, 0, 0, 0,    0,
                                                                       0, 0, 0, 0, 0xff, 0xff};
    const bool isMapped = std::equal(kMapped.begin(), kMapped.end(), address.begin());
    return isMapped ? Address(address.begin() + kMapped.size(), address.end()) : address;
}

std::optional<Address> AddressOf(const std::string& text) {
    if (auto address = Parsed(AF_INET, kIPv4Size, text)) {
        return address;
    }
    const auto address = Parsed(AF_INET6, kIPv6Size, text.substr(0, text.find('%')));
    return address ? std::optional(Unmapped(*address)) : std::nullopt;
}

std::string TextOf(const Address& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    const int family = address.size() == kIPv4Size ? AF_INET : AF_INET6;
    inet_ntop(family, address.data(), text.data(), text.size());
    return text.data();
}

// The mask of the first `bits` bits.
Address MaskOf(size_t bits, size_t size) {
    Address mask(size);
    for (size_t bit = 0; bit < bits; ++bit) {
        mask[bit / kBitsInByte] |= static_cast<unsigned char>(0x80U >> (bit % kBitsInByte));
    }
    return mask;
}

// `text`: the number of bits ("24") or a mask written as an address ("255.255.255.0").
std::optional<Address> ParsedMask(const std::string& text, size_t size) {
    size_t bits = 0;
    const char* end = text.data() + text.size();
    if (const auto [rest, error] = std::from_chars(text.data(), end, bits);
        error == std::errc() && rest == end) {
        return bits <= size * kBitsInByte ? std::optional(MaskOf(bits, size)) : std::nullopt;
    }
    return size == kIPv4Size ? Parsed(AF_INET, size, text) : Parsed(AF_INET6, size, text);
}

std::string WithoutBrackets(const std::string& text) {
    const bool hasBrackets = text.size() >= 2 && text.front() == '[' && text.back() == ']';
    return hasBrackets ? text.substr(1, text.size() - 2) : text;
}

bool IsInNetwork(const Address& host, const std::string& network, const std::string& maskText) {
    const auto base = AddressOf(WithoutBrackets(network));
    if (!base || base->size() != host.size()) {
        return false;
    }
    const auto mask = ParsedMask(maskText, host.size());
    if (!mask) {
        return false;
    }
    for (size_t at = 0; at < host.size(); ++at) {
        if (((host[at] ^ (*base)[at]) & (*mask)[at]) != 0) {
            return false;
        }
    }
    return true;
}

bool Matches(const std::string& entry, const Address& host) {
    const std::string word = LowerCase(entry);
    if (word == "all" || word == "fail") {
        return true;
    }
    if (const size_t slash = entry.find('/'); slash != std::string::npos) {
        return IsInNetwork(host, entry.substr(0, slash), entry.substr(slash + 1));
    }
    if (const auto address = AddressOf(WithoutBrackets(entry))) {
        return *address == host;
    }
    const std::string text = TextOf(host);
    return word.ends_with('.') ? text.starts_with(word) : MatchesPattern(word, text);
}

bool Lists(const std::vector<std::string>& list, const Address& host) {
    const auto matches = [&host](const std::string& entry) { return Matches(entry, host); };
    const auto except = std::find_if(list.begin(), list.end(), [](const std::string& entry) {
        return LowerCase(entry) == "except";
    });
    return std::any_of(list.begin(), except, matches) && std::none_of(except, list.end(), matches);
}

bool IsThisMachine(const Address& host) {
    const std::string text = TextOf(host);
    return text == "127.0.0.1" || text == "::1";
}

}  // namespace

bool IsHostAddress(const std::string& text) {
    return AddressOf(text).has_value();
}

bool AdmitsHost(const std::string& allow, const std::string& deny, const std::string& address) {
    const auto host = AddressOf(address);
    const std::vector<std::string> allowed = ListEntries(allow);
    const std::vector<std::string> denied = ListEntries(deny);
    if (!host) {
        return allowed.empty() && denied.empty();
    }
    if (Lists(allowed, *host)) {
        return true;
    }
    if (denied.empty()) {
        return allowed.empty() || IsThisMachine(*host);
    }
    return !Lists(denied, *host);
}

}  // namespace NAVO::platform
