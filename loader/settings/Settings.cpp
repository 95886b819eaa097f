// SPDX-License-Identifier: Apache-2.0
#include "loader/settings/Settings.h"

#include <json/writer.h>

#include <algorithm>

#include "loader/settings/ObjectText.h"
#include "loader/settings/SettingsFile.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

constexpr const char* kEmptyObject = "{}\n";

std::string LineOf(const std::string& text, const Json::Value& value) {
    const auto end = text.begin() + value.getOffsetStart();
    return std::to_string(std::count(text.begin(), end, '\n') + 1);
}

std::string OnOneLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

// A limit that is too low would remove what nobody wanted removed.
std::string Meanwhile(Setting setting) {
    return setting == Setting::kCacheLimit ? "nothing is removed from the cache"
                                           : "the default is used";
}

}  // namespace

Settings::Settings() {
    for (const SettingEntry& entry : SettingEntries()) {
        _json[entry.setting] = DefaultOf(entry);
        _values[entry.setting] = *ValueOf(entry, _json[entry.setting]);
    }
}

Settings Settings::Read() {
    Settings settings;
    try {
        if (const auto text = ReadSettingsFile()) {
            settings.Take(*text);
        }
    } catch (const Failure& failure) {
        settings._problems.push_back(failure.Details());
        for (const SettingEntry& entry : SettingEntries()) {
            settings._refused.insert(entry.setting);
        }
    }
    return settings;
}

void Settings::Take(const std::string& text) {
    const Json::Value json = ParseSettings(text);
    for (const std::string& name : json.getMemberNames()) {
        const Json::Value& value = json[name];
        TakeMember(name, value,
                   "line " + LineOf(text, value) + " of " + NAVO::VELLUMO::SZF_INDEX_CONFIG);
    }
}

void Settings::TakeMember(const std::string& name, const Json::Value& json,
                          const std::string& place) {
    const std::string what = "the setting '" + name + "' is ignored";
    const SettingEntry* const entry = FindSetting(name);
    if (entry == nullptr) {
        _problems.push_back({Reason::kUnknownSetting, what,
                             place + ": there is no setting of that name",
                             "Correct the name, or remove the line."});
        return;
    }
    const auto value = ValueOf(*entry, json);
    if (!value) {
        _problems.push_back({Reason::kBadSetting, what, place + ": expected " + ExpectedBy(*entry),
                             "'vellumo settings set " + name + " VALUE' corrects it. Until then " +
                                 Meanwhile(entry->setting) + '.'});
        _refused.insert(entry->setting);
        return;
    }
    _json[entry->setting] = json;
    _values[entry->setting] = *value;
    _set.insert(entry->setting);
}

void SetSetting(const SettingEntry& entry, const Json::Value& value) {
    const std::string text = ReadSettingsFile().value_or(kEmptyObject);
    ParseSettings(text);
    ObjectText changed(text);
    changed.Set(entry.name, OnOneLine(value));
    WriteSettingsFile(changed.Text());
}

bool UnsetSetting(const std::string& name) {
    const std::string text = ReadSettingsFile().value_or(kEmptyObject);
    if (!ParseSettings(text).isMember(name)) {
        return false;
    }
    ObjectText changed(text);
    changed.Remove(name);
    WriteSettingsFile(changed.Text());
    return true;
}

}  // namespace vellumo::loader
