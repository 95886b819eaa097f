// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_SMBCONF_H
#define NAVO_LINUX_SMBCONF_H

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace NAVO::platform {

// Samba's configuration as a file holds it: sections of parameters, the values as they stand.
//
// In names of sections and parameters case and whitespace do not matter. What comes later
// overrides; a section that comes twice is one; `directory` is `path`. Parameters before the first
// section are those of [global]. A line that is neither a section nor has a "=" is passed over, as
// the file service does.
class SmbConf {
public:
    class Section {
    public:
        explicit Section(std::string_view name) : _name(name) {}

        // As the configuration has it the first time.
        const std::string& Name() const { return _name; }

        // The value of `parameter` without the quotes around it; "" when there is none.
        std::string Text(std::string_view parameter) const;

        // Whether `parameter` is there, be its value empty.
        bool Has(std::string_view parameter) const;

        // Whether the value of `parameter` is yes, true, on or 1.
        bool IsTrue(std::string_view parameter) const;

        void Set(std::string_view parameter, std::string_view value);

    private:
        std::string _name;
        std::map<std::string, std::string> _values;
    };

    // Reads `file` and the files that it includes. A file to include is left out when it is missing
    // or when its path is not absolute or has a variable in it, whose value only a session knows;
    // so is the registry.
    // Nothing, with errno, when a file cannot be read or when its syntax is none (EINVAL): a
    // section without "]" or without a name, a parameter without a name, a null character, too many
    // includes.
    static std::optional<SmbConf> Load(const std::string& file);

    // The section `name`; null when there is none.
    const Section* Find(std::string_view name) const;

    // The section `name`, made when there is none.
    Section& Get(std::string_view name);

private:
    std::map<std::string, Section> _sections;
};

}  // namespace NAVO::platform

#endif
