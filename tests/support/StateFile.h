// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_STATEFILE_H
#define VELLUMO_TESTS_STATEFILE_H

#include <json/value.h>

#include <string>

// The state file as a test sees it: read and written without its lock.
namespace vellumo::test {

inline constexpr const char* kStateFile = "/var/packages/Vellumo/etc/config";

void WriteState(const std::string& text);
std::string StateText();

// The document in the file; the null value when it is not JSON.
Json::Value State();

// `text` as JSON, for comparing with State() or a part of it.
Json::Value Parsed(const std::string& text);

}  // namespace vellumo::test

#endif
