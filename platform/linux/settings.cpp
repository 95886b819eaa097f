// SPDX-License-Identifier: Apache-2.0
#include <navo/settings.h>

#include <initializer_list>
#include <optional>

#include "fail.h"
#include "smbconf.h"

// Both files use the grammar of smb.conf: this library has a parser for it already, and its quotes
// preserve blanks at the ends of a text. inih does not fit: as Debian builds it, it leaves the
// quotes in place, cuts a value at " ;" even inside quotes, and cuts lines at 200 bytes, which a
// translated sentence can exceed.
namespace NAVO::platform {
namespace {

constexpr const char* kSettingsFile = "/usr/navo/etc/navo.conf";
constexpr const char* kStringsDirectory = "/usr/navo/etc/strings/";
constexpr const char* kNoSection = "global";  // SmbConf's section for lines before the first one
constexpr const char* kEnglish = "enu";

// Returns nothing when the file is missing or cannot be read; sets the last error for the latter.
std::optional<SmbConf> Load(const std::string& file) {
    auto content = SmbConf::Load(file);
    if (!content && errno != ENOENT && errno != ENOTDIR) {
        Fail(NAVO_ERR_CONFIG);
    }
    return content;
}

std::optional<std::string> ValueIn(const SmbConf& content, const std::string& section,
                                   const std::string& key) {
    const SmbConf::Section* found = content.Find(section);
    return found != nullptr && found->Has(key) ? std::optional(found->Text(key)) : std::nullopt;
}

// The name becomes part of a path.
bool IsLanguageName(const std::string& name) {
    constexpr const char* kAllowed =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    return !name.empty() && name.find_first_not_of(kAllowed) == std::string::npos;
}

std::string Language() {
    const std::string language = NavoConf().Info("language", kEnglish);
    return IsLanguageName(language) ? language : kEnglish;
}

std::optional<std::string> TextIn(const std::string& language,
                                  const std::vector<std::string>& sections,
                                  const std::string& key) {
    const auto content = Load(kStringsDirectory + language + ".ini");
    if (!content) {
        return std::nullopt;
    }
    for (const std::string& section : sections) {
        if (auto text = ValueIn(*content, section, key)) {
            return text;
        }
    }
    return std::nullopt;
}

}  // namespace
}  // namespace NAVO::platform

NavoConf::NavoConf() = default;

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): a member in the interface
std::string NavoConf::Info(const std::string& key, const std::string& defaultValue) const {
    const NAVO::platform::SuccessKeepsErrno success;
    const auto content = NAVO::platform::Load(NAVO::platform::kSettingsFile);
    if (!content) {
        return defaultValue;
    }
    return NAVO::platform::ValueIn(*content, NAVO::platform::kNoSection, key)
        .value_or(defaultValue);
}

StringBundle::StringBundle(int /*module*/, const char* section, const char* section2,
                           const char* section3) {
    for (const char* name : {section, section2, section3}) {
        if (name != nullptr) {
            _sections.emplace_back(name);
        }
    }
}

std::string StringBundle::Text(const std::string& key, const std::string& defaultValue) const {
    const NAVO::platform::SuccessKeepsErrno success;
    const std::string language = NAVO::platform::Language();
    auto text = NAVO::platform::TextIn(language, _sections, key);
    if (!text && language != NAVO::platform::kEnglish) {
        text = NAVO::platform::TextIn(NAVO::platform::kEnglish, _sections, key);
    }
    return text.value_or(defaultValue);
}
