// SPDX-License-Identifier: Apache-2.0
#include "settings/SettingsCommand.h"

#include <json/writer.h>

#include <CLI/CLI.hpp>

#include <iostream>

#include "app/Messages.h"
#include "app/Reasons.h"
#include "loader/pool/Readiness.h"
#include "loader/settings/Settings.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

using loader::SettingEntry;
using loader::Settings;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo settings                           list all settings with their values\n"
    "  vellumo settings get cacheLimit            print one value\n"
    "  vellumo settings set cacheLimit 5%         keep PDFs on up to 5 % of the volumes\n"
    "  vellumo settings set exclude '*.csv' tmp   a list takes several values\n"
    "  vellumo settings unset cacheLimit          use the default again\n"
    "All programs of the package read the settings from /var/packages/Vellumo/etc/index.json, a "
    "JSON\n"
    "object in which comments are allowed. You may also edit that file.";

[[noreturn]] void RefuseName(const std::string& what, const std::string& name) {
    throw Failure({ExitCode::kUsage,
                   what,
                   "there is no setting '" + name + "'",
                   "'vellumo settings' lists the settings.",
                   {}});
}

const SettingEntry& EntryNamed(const std::string& what, const std::string& name) {
    const SettingEntry* const entry = loader::FindSetting(name);
    if (entry == nullptr) {
        RefuseName(what, name);
    }
    return *entry;
}

// `value` on one line: a text as it is, everything else as JSON.
std::string Shown(const Json::Value& value) {
    if (value.isString() && !value.asString().empty()) {
        return Printable(value.asString());
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Printable(Json::writeString(builder, value));
}

Json::Value ToJson(const Settings& settings, const SettingEntry& entry) {
    Json::Value json(Json::objectValue);
    json["name"] = entry.name;
    json["value"] = settings.Json(entry.setting);
    json["default"] = loader::DefaultOf(entry);
    json["isSet"] = settings.IsSet(entry.setting);
    json["help"] = entry.help;
    return json;
}

void Print(const Settings& settings, const SettingEntry& entry) {
    const std::string byDefault = Shown(loader::DefaultOf(entry));
    std::cout << entry.name << " = " << Shown(settings.Json(entry.setting))
              << (settings.IsSet(entry.setting) ? " (default: " + byDefault + ")" : " (default)")
              << "\n    " << entry.help << '\n';
}

// Shows what is wrong with the file, and makes the command fail if anything is.
void Report(const Settings& settings, bool json, CommandResult& result) {
    result.json["problems"] = Json::Value(Json::arrayValue);
    for (const loader::Problem& each : settings.Problems()) {
        const Problem problem = InOwnTerms(each);
        result.json["problems"].append(cli::ToJson(problem));
        result.FailWith(problem);
        if (!json) {
            cli::Print(std::cerr, problem);
        }
    }
}

}  // namespace

SettingsCommand::SettingsCommand(CLI::App& app)
    : ActionCommand(app.add_subcommand("settings", "Show and change the settings")) {
    Arguments()->footer(kExamples);
    Arguments()->require_subcommand(0, 1);
    AddAction("list", "List all settings (the default)", [this] { return List(); });
    const auto addName = [this](CLI::App* arguments) {
        arguments->add_option("NAME", _name, "The name of a setting")->required()->option_text(" ");
    };
    addName(AddAction("get", "Print the value of a setting", [this] { return Get(); }));
    CLI::App* const set = AddAction("set", "Change a setting", [this] { return Set(); });
    addName(set);
    set->add_option("VALUE", _values, "The value, of a list all values")
        ->required()
        ->option_text("...");
    addName(AddAction("unset", "Use the default again", [this] { return Unset(); }));
}

CommandResult SettingsCommand::Run(bool json) {
    loader::CheckRights("cannot use the settings");
    return ActionCommand::Run(json);
}

CommandResult SettingsCommand::List() const {
    const Settings settings = Settings::Read();
    CommandResult result{ExitCode::kDone};
    result.json["file"] = NAVO::VELLUMO::SZF_INDEX_CONFIG;
    result.json["settings"] = Json::Value(Json::arrayValue);
    for (const SettingEntry& entry : loader::SettingEntries()) {
        result.json["settings"].append(ToJson(settings, entry));
        if (!Json()) {
            Print(settings, entry);
        }
    }
    Report(settings, Json(), result);
    return result;
}

CommandResult SettingsCommand::Get() const {
    const SettingEntry& entry = EntryNamed("cannot show the setting", _name);
    const Settings settings = Settings::Read();
    const Json::Value& value = settings.Json(entry.setting);
    CommandResult result{ExitCode::kDone, ToJson(settings, entry)};
    if (!Json() && value.isArray()) {
        for (const Json::Value& text : value) {
            std::cout << Printable(text.asString()) << '\n';
        }
    } else if (!Json()) {
        std::cout << Printable(value.asString()) << '\n';
    }
    Report(settings, Json(), result);
    return result;
}

CommandResult SettingsCommand::Set() const {
    const std::string what = "cannot change the setting '" + _name + "'";
    const SettingEntry& entry = EntryNamed(what, _name);
    const auto value = loader::JsonOf(entry, _values);
    if (!value || !loader::ValueOf(entry, *value)) {
        throw Failure(
            {ExitCode::kUsage, what, "expected " + loader::ExpectedBy(entry), entry.help, {}});
    }
    loader::SetSetting(entry, *value);
    CommandResult result{ExitCode::kDone};
    result.json["name"] = entry.name;
    result.json["value"] = *value;
    if (!Json()) {
        std::cout << entry.name << " = " << Shown(*value) << '\n';
    }
    return result;
}

// Takes any name that the file has, so that a misspelled one can be removed.
CommandResult SettingsCommand::Unset() const {
    const SettingEntry* const entry = loader::FindSetting(_name);
    const bool wasThere = loader::UnsetSetting(_name);
    if (entry == nullptr && !wasThere) {
        RefuseName("cannot unset the setting", _name);
    }
    CommandResult result{ExitCode::kDone};
    result.json["name"] = _name;
    result.json["wasSet"] = wasThere;
    result.json["value"] = entry == nullptr ? Json::Value() : loader::DefaultOf(*entry);
    if (!Json() && entry != nullptr) {
        std::cout << entry->name << " = " << Shown(loader::DefaultOf(*entry)) << " (default)\n";
    }
    return result;
}

}  // namespace vellumo::cli
