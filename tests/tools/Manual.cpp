// SPDX-License-Identifier: Apache-2.0
#include "Manual.h"

#include <iterator>
#include <sstream>
#include <vector>

namespace vellumo::test {
namespace {

using Words = std::vector<std::string>;
using Macros = std::vector<Words>;  // lines that begin with a dot

// By their titles, such as "SYNOPSIS" and "vellumo pdf". A line that ends in a backslash goes on in
// the next.
std::map<std::string, Macros> SectionsOf(const std::string& text) {
    std::map<std::string, Macros> sections;
    std::string title;
    std::istringstream lines(text);
    for (std::string line, more; std::getline(lines, line);) {
        while (line.ends_with('\\') && std::getline(lines, more)) {
            line.replace(line.size() - 1, 1, more);
        }
        if (line.starts_with(".Sh ") || line.starts_with(".Ss ")) {
            title = line.substr(4);
        } else if (line.starts_with('.')) {
            std::istringstream words(line);
            sections[title].emplace_back(std::istream_iterator<std::string>(words),
                                         std::istream_iterator<std::string>());
        }
    }
    return sections;
}

// "Fl -user" is --user, "Fl r" is -r, "Fl -no-cache | -refresh" are two.
Options OptionsIn(const Words& words) {
    Options options;
    for (size_t i = 0; i + 1 < words.size(); ++i) {
        const bool isFirst = words[i] == "Fl" || words[i] == ".Fl";
        const bool isFurther = words[i] == "|" && words[i + 1].starts_with('-');
        if (isFirst || isFurther) {
            options.insert("-" + words[i + 1]);
        }
    }
    return options;
}

// A synopsis of one or more commands: its macros as far as the next .Nm.
class Synopsis {
public:
    void Read(const Words& words) {
        if (words[0] == ".Cm") {
            _names.insert(_names.end(), words.begin() + 1, words.end());
        } else if (words[0] == ".Op" && words[1] == "Cm") {  // the default; its options follow
            _names.insert(_names.end(), words.begin() + 2, words.end());
        }
        _options.merge(OptionsIn(words));
    }

    // "pool add" is one, "pool status | doctor" are two.
    std::vector<std::string> Commands() const {
        const std::string command = _names.empty() ? "" : _names[0];
        if (_names.size() < 2) {
            return {command};
        }
        std::vector<std::string> commands;
        for (size_t i = 1; i < _names.size(); ++i) {
            if (_names[i] != "|") {
                commands.push_back(command + " " + _names[i]);
            }
        }
        return commands;
    }

    const Options& Of() const { return _options; }

private:
    Words _names;
    Options _options;
};

std::vector<Synopsis> SynopsesIn(const Macros& macros) {
    std::vector<Synopsis> synopses;
    for (const Words& words : macros) {
        if (words[0] == ".Nm") {
            synopses.emplace_back();
        } else {
            synopses.back().Read(words);
        }
    }
    return synopses;
}

void Add(const Options& options, Options& all) {
    all.insert(options.begin(), options.end());
}

Options Found(const std::map<std::string, Options>& options, const std::string& command) {
    const auto found = options.find(command);
    return found == options.end() ? Options() : found->second;
}

}  // namespace

Manual::Manual(const std::string& text) {
    const std::map<std::string, Macros> sections = SectionsOf(text);
    for (const Synopsis& synopsis : SynopsesIn(sections.at("SYNOPSIS"))) {
        for (const std::string& command : synopsis.Commands()) {
            Add(synopsis.Of(), _ofCommands[command]);
        }
    }
    const std::string section = "vellumo ";
    for (const auto& [title, macros] : sections) {
        if (title.starts_with(section)) {
            ReadSection(title.substr(section.size()), macros);
        }
    }
}

void Manual::ReadSection(const std::string& command, const std::vector<Words>& macros) {
    for (const Words& words : macros) {
        Add(OptionsIn(words), _inSections[command]);
        if (words[0] == ".It") {
            const std::string subcommand = words[1] == "Cm" ? " " + words[2] : "";
            Add(OptionsIn(words), _ofCommands[command + subcommand]);
        }
    }
}

Options Manual::Of(const std::string& command) const {
    return Found(_ofCommands, command);
}

Options Manual::InSectionOf(const std::string& command) const {
    return Found(_inSections, command);
}

}  // namespace vellumo::test
