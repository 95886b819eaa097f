// SPDX-License-Identifier: Apache-2.0
#include "loader/settings/ObjectText.h"

#include <json/reader.h>

#include <algorithm>
#include <string_view>

namespace vellumo::loader {
namespace {

constexpr const char* kBlanks = " \t\r\n";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr const char* kIndent = "    ";

// Walks through valid JSON with comments.
class Scanner {
public:
    explicit Scanner(const std::string& text)
        : _text(text), _place(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0) {}

    size_t Place() const { return _place; }
    char Here() const { return _text[_place]; }
    void Step() { ++_place; }

    void SkipBlanksAndComments() {
        while (true) {
            _place = std::min(_text.find_first_not_of(kBlanks, _place), _text.size());
            if (_text.compare(_place, 2, "//") == 0) {
                SkipPast("\n");
            } else if (_text.compare(_place, 2, "/*") == 0) {
                SkipPast("*/");
            } else {
                return;
            }
        }
    }

    void SkipString() {
        for (Step(); Here() != '"'; Step()) {
            _place += Here() == '\\' ? 1U : 0U;
        }
        Step();
    }

    void SkipValue() {
        if (Here() == '"') {
            SkipString();
        } else if (Here() == '{' || Here() == '[') {
            SkipNested();
        } else {
            _place = std::min(_text.find_first_of(",}]/ \t\r\n", _place), _text.size());
        }
    }

private:
    void SkipPast(const char* mark) {
        const size_t found = _text.find(mark, _place + 2);
        _place = found == std::string::npos ? _text.size() : found + std::string(mark).size();
    }

    void SkipNested() {
        int depth = 0;
        do {
            SkipBlanksAndComments();
            if (Here() == '"') {
                SkipString();
                continue;
            }
            depth += Here() == '{' || Here() == '[' ? 1 : 0;
            depth -= Here() == '}' || Here() == ']' ? 1 : 0;
            Step();
        } while (depth > 0);
    }

    const std::string& _text;
    size_t _place;
};

// The text that a JSON string stands for.
std::string Unquoted(const std::string& text) {
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
    return value.asString();
}

}  // namespace

ObjectText::ObjectText(std::string text) : _text(std::move(text)) {
    Scan();
}

void ObjectText::Scan() {
    _members.clear();
    Scanner scanner(_text);
    scanner.SkipBlanksAndComments();
    scanner.Step();
    for (scanner.SkipBlanksAndComments(); scanner.Here() != '}'; scanner.SkipBlanksAndComments()) {
        const size_t begin = scanner.Place();
        scanner.SkipString();
        const std::string name = Unquoted(_text.substr(begin, scanner.Place() - begin));
        scanner.SkipBlanksAndComments();
        scanner.Step();
        scanner.SkipBlanksAndComments();
        const size_t value = scanner.Place();
        scanner.SkipValue();
        const size_t end = scanner.Place();
        scanner.SkipBlanksAndComments();
        const bool hasComma = scanner.Here() == ',';
        _members.push_back(
            {name, begin, value, end, hasComma ? scanner.Place() : std::string::npos});
        if (hasComma) {
            scanner.Step();
        }
    }
    _close = scanner.Place();
}

void ObjectText::Set(const std::string& name, const std::string& value) {
    const auto member = std::find_if(_members.begin(), _members.end(),
                                     [&](const Member& each) { return each.name == name; });
    if (member == _members.end()) {
        Add(name, value);
    } else {
        _text.replace(member->value, member->end - member->value, value);
    }
    Scan();
}

// On a line of its own before the closing brace, so that comments stay where they are.
void ObjectText::Add(const std::string& name, const std::string& value) {
    const size_t place = _text.find_last_not_of(" \t", _close - 1) + 1;
    const std::string lineEnd = _text[place - 1] == '\n' ? "" : "\n";
    _text.insert(place, lineEnd + kIndent + "\"" + name + "\": " + value + "\n");
    if (!_members.empty()) {
        _text.insert(_members.back().end, ",");
    }
}

void ObjectText::Remove(const std::string& name) {
    const auto member = std::find_if(_members.begin(), _members.end(),
                                     [&](const Member& each) { return each.name == name; });
    if (member == _members.end()) {
        return;
    }
    const Member removed = *member;
    // From the back to the front, so that the positions stay valid.
    if (removed.comma != std::string::npos) {
        _text.erase(removed.comma, 1);
    }
    EraseWithEmptyLine(removed.begin, removed.end);
    if (removed.comma == std::string::npos && member != _members.begin()) {
        _text.erase(std::prev(member)->comma, 1);
    }
    Scan();
}

void ObjectText::EraseWithEmptyLine(size_t begin, size_t end) {
    const size_t lineBegin = _text.find_last_of('\n', begin - 1) + 1;
    const size_t lineEnd = std::min(_text.find('\n', end), _text.size() - 1);
    const bool isAlone = _text.find_first_not_of(" \t", lineBegin) == begin &&
                         _text.find_first_not_of(" \t\r", end) == lineEnd && _text[lineEnd] == '\n';
    if (isAlone) {
        _text.erase(lineBegin, lineEnd + 1 - lineBegin);
    } else {
        _text.erase(begin, end - begin);
    }
}

}  // namespace vellumo::loader
