// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_SMBHOSTS_H
#define NAVO_LINUX_SMBHOSTS_H

#include <string>

namespace NAVO::platform {

// Whether `text` is the address of a host: IPv4, or IPv6 with or without a zone (%eth0).
bool IsHostAddress(const std::string& text);

// Whether the lists `hosts allow` and `hosts deny` admit the host at `address`. With no list, all
// hosts are admitted; with `allow` alone, those that it lists; with `deny` alone, those that it
// does not list; with both, all but those that only `deny` lists. The machine itself (127.0.0.1,
// ::1) is admitted unless `deny` lists it and `allow` does not.
//
// An entry is an address, the beginning of one ("192.168."), a network ("10.0.0.0/8",
// "10.0.0.0/255.0.0.0", "2001:db8::/32", "[2001:db8::]/32"), a pattern of addresses ("10.*") or
// ALL; what follows EXCEPT is not listed. Names of hosts and netgroups, and LOCAL, list no host:
// like the file service with `hostname lookups = no`, its default, nothing here asks for the name
// of an address.
bool AdmitsHost(const std::string& allow, const std::string& deny, const std::string& address);

}  // namespace NAVO::platform

#endif
