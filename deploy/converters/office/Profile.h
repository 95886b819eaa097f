// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_PROFILE_H
#define VELLUMO_OFFICE_PROFILE_H

#include <string>

namespace vellumo::office {

// Returns the directory with the files of the converters, which is above this program's own.
std::string OwnFiles();

// Makes a directory in `home` with the office's settings for conversions. Returns the path of the
// file in it. Throws Failure.
std::string MakeProfile(const std::string& home);

// Lets every user read it. Call this when the office has started, which closes it to others.
void OpenProfile(const std::string& profile);

}  // namespace vellumo::office

#endif
