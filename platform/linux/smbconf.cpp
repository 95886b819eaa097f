// SPDX-License-Identifier: Apache-2.0
#include "smbconf.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "casefold.h"
#include "support/Descriptor.h"

// This file has its own parser because inih cannot read the grammar. As Debian builds it, inih ends
// a name at a ":" before a "=" ("navo:scale volume" becomes "navo"), takes an indented line as one
// more value of the parameter above, cuts a value at " ;", does not continue lines, and cuts names
// at 49 and lines at 200 bytes. Its settings for some of these apply to the whole process.
namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::Uninterrupted;

constexpr std::string_view kBlanks = " \t\v\f\r";
constexpr int kMostFiles = 100;  // more means that a file includes itself
constexpr size_t kMostBytes = size_t{16} << 20;

std::string_view Trimmed(std::string_view text) {
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Returns the form in which names are compared.
std::string Normalized(std::string_view name) {
    std::string result = LowerCase(name);
    std::erase_if(result, [](char c) { return kBlanks.find(c) != std::string_view::npos; });
    return result;
}

struct Synonym {
    std::string_view other;
    const char* name;
};

constexpr Synonym kSynonyms[] = {
    {"directory", "path"},
    {"allowhosts", "hostsallow"},
    {"denyhosts", "hostsdeny"},
    {"casesignames", "casesensitive"},
    {"unixextensions", "smb1unixextensions"},
};

std::string NormalizedParameter(std::string_view name) {
    std::string result = Normalized(name);
    for (const Synonym& synonym : kSynonyms) {
        if (result == synonym.other) {
            return synonym.name;
        }
    }
    return result;
}

bool IsYes(std::string_view value) {
    const std::string word = LowerCase(value);
    return word == "yes" || word == "true" || word == "on" || word == "1";
}

bool IsNo(std::string_view value) {
    const std::string word = LowerCase(value);
    return word == "no" || word == "false" || word == "off" || word == "0";
}

std::string_view Unquoted(std::string_view value) {
    const bool isQuoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
    const std::string_view inner = isQuoted ? value.substr(1, value.size() - 2) : value;
    return inner.find('"') == std::string_view::npos ? inner : value;
}

std::optional<std::string> ReadAll(int file) {
    std::string content;
    std::array<char, 8192> buffer{};
    for (;;) {
        const ssize_t got = Uninterrupted([&] { return read(file, buffer.data(), buffer.size()); });
        if (got < 0) {
            return std::nullopt;
        }
        if (got == 0) {
            return content;
        }
        content.append(buffer.data(), static_cast<size_t>(got));
        if (content.size() > kMostBytes) {
            errno = EFBIG;
            return std::nullopt;
        }
    }
}

// Refuses devices and pipes: they may have no end.
std::optional<std::string> ReadRegularFile(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0) {
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return std::nullopt;
    }
    return ReadAll(file.Get());
}

// The lines of a text, without comments and blank lines; continued lines are joined.
class Lines {
public:
    explicit Lines(std::string_view text) : _rest(text) {}

    bool Next(std::string& line) {
        while (!_rest.empty()) {
            line = Trimmed(NextPhysical());
            if (!line.empty() && line.front() != '#' && line.front() != ';') {
                JoinContinuations(line);
                return true;
            }
        }
        return false;
    }

private:
    std::string_view NextPhysical() {
        const size_t end = std::min(_rest.find('\n'), _rest.size());
        const std::string_view line = _rest.substr(0, end);
        _rest.remove_prefix(std::min(end + 1, _rest.size()));
        return line;
    }

    void JoinContinuations(std::string& line) {
        while (line.ends_with('\\')) {
            line.pop_back();
            line.append(NextPhysical());
            line.erase(line.find_last_not_of(kBlanks) + 1);
        }
    }

    std::string_view _rest;
};

class Parser {
public:
    explicit Parser(SmbConf& result) : _result(result), _section(&result.Get("global")) {}

    // Returns false, with errno, on failure.
    bool Parse(const std::string& file) {
        if (_files++ == kMostFiles) {
            errno = ELOOP;
            return false;
        }
        const auto text = ReadRegularFile(file);
        return text && ParseText(*text);
    }

private:
    bool ParseText(const std::string& text) {
        if (text.find('\0') != std::string::npos) {
            return Malformed();
        }
        Lines lines(text);
        std::string line;
        while (lines.Next(line)) {
            if (!(line.front() == '[' ? ParseSection(line) : ParseParameter(line))) {
                return false;
            }
        }
        return true;
    }

    bool ParseSection(std::string_view line) {
        const size_t end = line.find(']');
        const std::string_view name =
            Trimmed(line.substr(1, end == std::string_view::npos ? 0 : end - 1));
        if (name.empty()) {
            return Malformed();
        }
        _section = &_result.Get(name);
        return true;
    }

    bool ParseParameter(std::string_view line) {
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            return true;
        }
        const std::string_view name = Trimmed(line.substr(0, equals));
        const std::string_view value = Trimmed(line.substr(equals + 1));
        if (name.empty()) {
            return Malformed();
        }
        if (Normalized(name) == "include") {
            return Include(Unquoted(value));
        }
        if (Normalized(name) == "copy") {
            Copy(Unquoted(value));
        }
        _section->Set(name, value);
        return true;
    }

    void Copy(std::string_view name) {
        const SmbConf::Section* source = _result.Find(name);
        if (source != nullptr && source != _section) {
            _section->Inherit(*source);
        }
    }

    // Acts as if the file's text stood here: a section that begins in the file goes on after it.
    bool Include(std::string_view file) {
        if (!file.starts_with('/') || file.find('%') != std::string_view::npos) {
            return true;
        }
        return Parse(std::string(file)) || errno == ENOENT || errno == ENOTDIR;
    }

    static bool Malformed() {
        errno = EINVAL;
        return false;
    }

    SmbConf& _result;
    SmbConf::Section* _section;
    int _files = 0;
};

}  // namespace

std::string SmbConf::Section::Text(std::string_view parameter) const {
    return std::string(Unquoted(Raw(parameter)));
}

std::string SmbConf::Section::Raw(std::string_view parameter) const {
    const auto found = _values.find(NormalizedParameter(parameter));
    return found == _values.end() ? std::string() : found->second.text;
}

bool SmbConf::Section::Has(std::string_view parameter) const {
    return _values.contains(NormalizedParameter(parameter));
}

bool SmbConf::Section::IsTrue(std::string_view parameter) const {
    return IsYes(Text(parameter));
}

void SmbConf::Section::Set(std::string_view parameter, std::string_view value) {
    _values[NormalizedParameter(parameter)] = {std::string(parameter), std::string(value)};
}

void SmbConf::Section::Inherit(const Section& other) {
    _values.insert(other._values.begin(), other._values.end());
}

std::vector<std::pair<std::string, std::string>> SmbConf::Section::Parametric(
    std::string_view type) const {
    const std::string prefix = Normalized(type) + ":";
    std::vector<std::pair<std::string, std::string>> found;
    for (auto at = _values.lower_bound(prefix);
         at != _values.end() && at->first.starts_with(prefix); ++at) {
        const std::string_view spelling = at->second.spelling;
        found.emplace_back(Trimmed(spelling.substr(spelling.find(':') + 1)), at->second.text);
    }
    return found;
}

std::optional<SmbConf> SmbConf::Load(const std::string& file) {
    SmbConf result;
    return Parser(result).Parse(file) ? std::optional(std::move(result)) : std::nullopt;
}

const SmbConf::Section* SmbConf::Find(std::string_view name) const {
    const auto found = _sections.find(Normalized(name));
    return found == _sections.end() ? nullptr : &found->second;
}

std::string SmbConf::Effective(const Section* section, std::string_view parameter) const {
    if (section != nullptr && section->Has(parameter)) {
        return section->Raw(parameter);
    }
    const Section* global = Find("global");
    return global == nullptr ? std::string() : global->Raw(parameter);
}

bool SmbConf::Flag(const Section* section, std::string_view parameter, bool defaultValue) const {
    const std::string value = Effective(section, parameter);
    const std::string_view word = Unquoted(value);
    return IsYes(word) || (defaultValue && !IsNo(word));
}

SmbConf::Section& SmbConf::Get(std::string_view name) {
    return _sections.try_emplace(Normalized(name), name).first->second;
}

}  // namespace NAVO::platform
