// SPDX-License-Identifier: Apache-2.0
#include "supervisor/Settings.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

namespace vellumo::web::supervisor {
namespace {

constexpr size_t kMostWorkers = 64;

std::string Trimmed(const std::string& text) {
    const size_t begin = text.find_first_not_of(" \t\r");
    const size_t end = text.find_last_not_of(" \t\r");
    return begin == std::string::npos ? "" : text.substr(begin, end - begin + 1);
}

// Sets one setting; returns what its value must be when it is not.
using Setter = std::function<std::string(Settings&, const std::string&)>;

Setter Text(std::string Settings::*member) {
    return [member](Settings& settings, const std::string& value) {
        settings.*member = value;
        return value.empty() ? "not empty" : "";
    };
}

Setter FieldName(std::string Settings::*member) {
    return [member](Settings& settings, const std::string& value) {
        settings.*member = value;
        const bool isName =
            !value.empty() && std::all_of(value.begin(), value.end(), [](unsigned char letter) {
                return std::isalnum(letter) != 0 || letter == '-';
            });
        return isName ? "" : "letters, digits and '-'";
    };
}

Setter Number(size_t Settings::*member) {
    return [member](Settings& settings, const std::string& value) -> std::string {
        size_t number = 0;
        const char* const end = value.data() + value.size();
        const auto [stop, error] = std::from_chars(value.data(), end, number);
        if (error != std::errc() || stop != end || number == 0 || number > kMostWorkers) {
            return "a number from 1 to " + std::to_string(kMostWorkers);
        }
        settings.*member = number;
        return "";
    };
}

// An absolute path, or one of these words.
Setter Place(std::string Settings::*member, std::vector<std::string> words) {
    return [member, words = std::move(words)](Settings& settings,
                                              const std::string& value) -> std::string {
        settings.*member = value;
        const bool isWord = std::find(words.begin(), words.end(), value) != words.end();
        std::string wanted = "an absolute path";
        for (const std::string& word : words) {
            wanted += " or " + word;
        }
        return isWord || value.starts_with('/') ? "" : wanted;
    };
}

Setter YesOrNo(bool Settings::*member) {
    return [member](Settings& settings, const std::string& value) {
        settings.*member = value == "yes";
        return value == "yes" || value == "no" ? "" : "yes or no";
    };
}

const std::map<std::string, Setter>& Setters() {
    static const std::map<std::string, Setter> setters{
        {"listen", Text(&Settings::listen)},
        {"user", Text(&Settings::user)},
        {"page", Text(&Settings::page)},
        {"access-log", Place(&Settings::accessLog, {"stderr", "none"})},
        {"status-socket", Place(&Settings::statusSocket, {"none"})},
        {"proxy-peer", Text(&Settings::proxyPeer)},
        {"proxy-login", Place(&Settings::proxyLogin, {"none"})},
        {"proxy-user-header", FieldName(&Settings::proxyUserHeader)},
        {"quick-workers", Number(&Settings::quickWorkers)},
        {"convert-workers", Number(&Settings::convertWorkers)},
        {"secure", YesOrNo(&Settings::isSecure)},
        {"forwarded", YesOrNo(&Settings::isForwarded)}};
    return setters;
}

// What is wrong with the line; "" when nothing is.
std::string Apply(Settings& settings, const std::string& line) {
    const size_t sign = line.find('=');
    if (sign == std::string::npos) {
        return "it is not of the form NAME = VALUE";
    }
    const std::string name = Trimmed(line.substr(0, sign));
    const auto setter = Setters().find(name);
    if (setter == Setters().end()) {
        return "there is no setting '" + name + "'";
    }
    const std::string wanted = setter->second(settings, Trimmed(line.substr(sign + 1)));
    return wanted.empty() ? "" : "'" + name + "' must be " + wanted;
}

}  // namespace

Settings Settings::In(const std::string& text, std::vector<std::string>& problems) {
    Settings settings;
    settings.page = VELLUMO_WEB_PAGE;
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        line = Trimmed(line);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::string problem = Apply(settings, line);
        if (!problem.empty()) {
            problems.push_back("line " + std::to_string(number) + ": " + problem);
        }
    }
    return settings;
}

Settings Settings::Read(const std::string& file, std::vector<std::string>& problems) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0 && errno == ENOENT) {
        return In("", problems);
    }
    std::ifstream content(file);
    std::ostringstream text;
    text << content.rdbuf();
    if (!content) {
        problems.push_back("cannot read " + file);
    } else if (status.st_uid != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        problems.push_back("others than root may change " + file);
    }
    return In(text.str(), problems);
}

}  // namespace vellumo::web::supervisor
