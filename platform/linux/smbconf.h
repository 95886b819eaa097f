// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_SMBCONF_H
#define NAVO_LINUX_SMBCONF_H

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace NAVO::platform {

// Samba's configuration as its file contains it: sections of parameters, with unchanged values.
//
// In names of sections and parameters, case and whitespace do not matter. Of two values of one
// parameter, the later is valid. Two sections with one name are one section. `directory` is another
// name of `path`. Parameters before the first section belong to [global]. A line that neither
// begins a section nor has a "=" is ignored, as the file service does.
class SmbConf {
public:
    class Section {
    public:
        explicit Section(std::string_view name) : _name(name) {}

        // The section's name as first spelled in the configuration.
        const std::string& Name() const { return _name; }

        // Returns the value of `parameter` without the quotes around it; "" when it is not set.
        std::string Text(std::string_view parameter) const;

        // Whether `parameter` is set, even to an empty value.
        bool Has(std::string_view parameter) const;

        // Whether the value of `parameter` is yes, true, on or 1.
        bool IsTrue(std::string_view parameter) const;

        void Set(std::string_view parameter, std::string_view value);

    private:
        std::string _name;
        std::map<std::string, std::string> _values;
    };

    // Reads `file` and the files that it includes. Leaves out an included file that is missing,
    // whose path is not absolute or whose path contains a variable, because only a session knows
    // the variable's value; also leaves out the registry. Returns nothing, with errno, when a file
    // cannot be read, when there are too many includes (ELOOP) or when the syntax is wrong
    // (EINVAL): a section without "]" or without a name, a parameter without a name, a null
    // character.
    static std::optional<SmbConf> Load(const std::string& file);

    // Returns the section `name`; null when there is none.
    const Section* Find(std::string_view name) const;

    // Returns the section `name`; creates it when there is none.
    Section& Get(std::string_view name);

private:
    std::map<std::string, Section> _sections;
};

}  // namespace NAVO::platform

#endif
