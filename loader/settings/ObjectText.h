// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_OBJECTTEXT_H
#define VELLUMO_LOADER_OBJECTTEXT_H

#include <string>
#include <vector>

namespace vellumo::loader {

// The text of a JSON object that people write, with comments. Changes one member and leaves every
// other byte as it is. Requires valid JSON (comments allowed) whose outermost value is an object in
// which each name is used once.
class ObjectText {
public:
    explicit ObjectText(std::string text);

    const std::string& Text() const { return _text; }

    // Replaces the value of the member, or adds the member as the last one. `value`: JSON.
    void Set(const std::string& name, const std::string& value);

    // Removes the member, and its line if nothing else is there. Comments stay. Does nothing when
    // there is no such member.
    void Remove(const std::string& name);

private:
    // Positions in the text.
    struct Member {
        std::string name;
        size_t begin;  // of the name's quote
        size_t value;  // where its value begins
        size_t end;    // after the value
        size_t comma;  // of the comma after it, or npos
    };

    void Scan();
    void Add(const std::string& name, const std::string& value);
    void EraseWithEmptyLine(size_t begin, size_t end);

    std::string _text;
    std::vector<Member> _members;
    size_t _close = 0;  // of the closing brace
};

}  // namespace vellumo::loader

#endif
