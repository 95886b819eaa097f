// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_TEXT_H
#define VELLUMO_LOADER_TEXT_H

#include <cstdint>
#include <string>

// Pieces of messages for people.
namespace vellumo::loader {

// "1 document", "3 documents".
std::string Count(size_t number, const std::string& noun);

// `path` quoted as one word for a shell, for commands that people copy from a message.
std::string ShellWord(const std::string& path);

// A time in seconds since the epoch as "2026-01-01T00:00:00Z"; the number for one that no calendar
// reaches.
std::string Date(int64_t seconds);

}  // namespace vellumo::loader

#endif
