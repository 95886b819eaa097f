// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_SETTINGS_H
#define VELLUMO_LOADER_SETTINGS_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "loader/Problem.h"
#include "loader/settings/SettingTable.h"
#include "loader/settings/SettingValue.h"

namespace vellumo::loader {

// The settings of all programs, which administrators keep in the file SZF_INDEX_CONFIG: one JSON
// object with a member for each setting that differs from its default; comments are allowed. An
// object is a picture of the file at one moment and never changes.
class Settings {
public:
    // All defaults.
    Settings();

    // Reads the file once. Never throws Failure: what is wrong is in Problems(), and for that
    // setting, or all settings if the whole file is refused, the default holds.
    static Settings Read();

    // What an administrator should correct; usually empty.
    const std::vector<Problem>& Problems() const { return _problems; }

    // Whether the file has a valid value for the setting.
    bool IsSet(Setting setting) const { return _set.contains(setting); }

    // Whether an administrator may have set it, but not so that it can be read: its value is
    // refused, or the whole file.
    bool IsRefused(Setting setting) const { return _refused.contains(setting); }

    // The value as it is in the file, or the default, as JSON.
    const Json::Value& Json(Setting setting) const { return _json.at(setting); }

    // The value of a setting, by its kind in the table. Calling the wrong one throws
    // std::bad_variant_access.
    int64_t Number(Setting setting) const { return As<int64_t>(setting); }
    int64_t Bytes(Setting setting) const { return As<int64_t>(setting); }
    SizeOrShare Limit(Setting setting) const { return As<SizeOrShare>(setting); }
    std::chrono::seconds Duration(Setting setting) const {
        return As<std::chrono::seconds>(setting);
    }
    Hours HoursOf(Setting setting) const { return As<Hours>(setting); }
    std::chrono::minutes TimeOfDay(Setting setting) const {
        return As<std::chrono::minutes>(setting);
    }
    const std::vector<std::string>& Texts(Setting setting) const {
        return As<std::vector<std::string>>(setting);
    }
    const std::string& Word(Setting setting) const { return As<std::string>(setting); }

private:
    template <typename Value>
    const Value& As(Setting setting) const {
        return std::get<Value>(_values.at(setting));
    }

    void Take(const std::string& text);
    void TakeMember(const std::string& name, const Json::Value& json, const std::string& place);

    std::map<Setting, SettingValue> _values;
    std::map<Setting, Json::Value> _json;
    std::set<Setting> _set;
    std::set<Setting> _refused;
    std::vector<Problem> _problems;
};

// Writes one setting into the file and leaves everything else in it as it is, comments included.
// `value` must be valid for the setting (ValueOf). Throws Failure, and changes nothing, when the
// file is refused, is not JSON or cannot be written. If two processes do so at once, one change may
// get lost.
void SetSetting(const SettingEntry& entry, const Json::Value& value);

// Removes the member `name` from the file; it may be one that no setting has. Returns false when
// there is none. Throws as SetSetting does.
bool UnsetSetting(const std::string& name);

}  // namespace vellumo::loader

#endif
