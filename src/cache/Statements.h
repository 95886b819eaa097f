// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CACHE_STATEMENTS_H
#define VELLUMO_CACHE_STATEMENTS_H

#include <string>

// The SQL statements for cache.db. These functions escape the texts; callers must not.
namespace NAVO::VELLUMO::cache {

extern const char* const kSchema;
extern const char* const kTotalSize;
extern const char* const kByAccess;
extern const char* const kForgetUnreferencedTargets;

std::string RegisterTarget(const std::string& target, long modify);
std::string RegisterStream(const std::string& target, const std::string& stream, long size,
                           long now);
std::string Touch(const std::string& target, const std::string& stream, long now);
std::string ForgetStream(const std::string& target, const std::string& stream);
std::string ForgetTarget(const std::string& target);
std::string ListStreams(const std::string& target);
std::string RecordedModification(const std::string& target);

}  // namespace NAVO::VELLUMO::cache

#endif
