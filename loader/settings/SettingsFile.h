// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_SETTINGSFILE_H
#define VELLUMO_LOADER_SETTINGSFILE_H

#include <json/value.h>

#include <optional>
#include <string>

#include "loader/Problem.h"

namespace vellumo::loader {

// Reads the file of the settings, SZF_INDEX_CONFIG; null when there is none. Throws Failure when it
// cannot be read, or when others than root own it or may write to it: whoever writes to it decides
// what the daemon does as root.
std::optional<std::string> ReadSettingsFile();

// Replaces the file by `text` in one step: a process that reads it finds the old or the new text,
// also after a power cut. Keeps the mode of the file; a new one gets 0644. Throws Failure and
// leaves the file as it was when that fails.
void WriteSettingsFile(const std::string& text);

// The object in `text`, JSON with comments. Throws Failure when it is something else.
Json::Value ParseSettings(const std::string& text);

}  // namespace vellumo::loader

#endif
