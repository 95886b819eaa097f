// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_SMBLIST_H
#define NAVO_LINUX_SMBLIST_H

#include <string>
#include <string_view>
#include <vector>

// Lists and patterns as values in Samba's configuration.
namespace NAVO::platform {

// Returns the entries of a list that blanks, commas or semicolons separate. Quotes keep an entry
// with blanks together, and are taken off: @"domain users" is one entry.
std::vector<std::string> ListEntries(std::string_view list);

// Whether `pattern` matches the whole of `text`: "*" stands for any number of characters and "?"
// for one. Compares letters as they are.
bool MatchesPattern(std::string_view pattern, std::string_view text);

// Returns the first component of `path` that a pattern of `patterns` matches; "" when there is
// none. Slashes separate the patterns, so one may contain blanks. Both in UTF-8.
std::string VetoedComponent(std::string_view patterns, std::string_view path, bool isCaseSensitive);

}  // namespace NAVO::platform

#endif
