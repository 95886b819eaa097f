// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_SMBCONF_H
#define NAVO_LINUX_SMBCONF_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace NAVO::platform {

// Samba's configuration as its file contains it: sections of parameters, with unchanged values.
//
// In names of sections and parameters, case and whitespace do not matter. Of two values of one
// parameter, the later is valid. Two sections with one name are one section. A parameter is found
// by each of its names: `directory` is `path`, `allow hosts` is `hosts allow`. Parameters before
// the first section belong to [global]. `copy = NAME` takes over what the section NAME has so far
// and this one has not. A line that neither begins a section nor has a "=" is ignored, as the file
// service does.
class SmbConf {
public:
    class Section {
    public:
        explicit Section(std::string_view name) : _name(name) {}

        // The section's name as first spelled in the configuration.
        const std::string& Name() const { return _name; }

        // Returns the value of `parameter` without the quotes around it; "" when it is not set.
        std::string Text(std::string_view parameter) const;

        // The same with all quotes, which matter in a list: one name may contain blanks.
        std::string Raw(std::string_view parameter) const;

        // Whether `parameter` is set, even to an empty value.
        bool Has(std::string_view parameter) const;

        // Whether the value of `parameter` is yes, true, on or 1.
        bool IsTrue(std::string_view parameter) const;

        void Set(std::string_view parameter, std::string_view value);

        // Sets every parameter of `other` that is not set here.
        void Inherit(const Section& other);

        // The parameters whose names begin with `type` and a colon: what follows the colon, as it
        // is spelled, and the values.
        std::vector<std::pair<std::string, std::string>> Parametric(std::string_view type) const;

    private:
        struct Value {
            std::string spelling;  // of the parameter's name
            std::string text;
        };

        std::string _name;
        std::map<std::string, Value> _values;
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

    // All sections, in the order of their names without case and whitespace.
    const std::map<std::string, Section>& Sections() const { return _sections; }

    // Returns the value of `parameter` that is valid in `section`, with its quotes: the section's
    // own, else that of [global]; "" when neither sets it. A null `section` sets nothing.
    std::string Effective(const Section* section, std::string_view parameter) const;

    // Returns the truth value of `parameter` that is valid in `section`. Like the file service,
    // takes `defaultValue` for a value that is neither yes, true, on, 1 nor no, false, off, 0.
    bool Flag(const Section* section, std::string_view parameter, bool defaultValue) const;

    // Returns the section `name`; creates it when there is none.
    Section& Get(std::string_view name);

private:
    std::map<std::string, Section> _sections;
};

}  // namespace NAVO::platform

#endif
