// SPDX-License-Identifier: Apache-2.0
#include "casefold.h"

#include <algorithm>
#include <array>
#include <climits>
#include <clocale>
#include <cwchar>
#include <cwctype>
#include <iterator>

namespace NAVO::platform {
namespace {

// Sets this thread's character set to UTF-8 while the object lives: a loader may never have set a
// locale, and a library must not change the process's own. On a system without the locale C.UTF-8,
// the thread's character set stays as it is.
class Utf8Characters {
public:
    Utf8Characters() : _before(uselocale(Utf8())) {}
    ~Utf8Characters() { uselocale(_before); }
    Utf8Characters(const Utf8Characters&) = delete;
    Utf8Characters& operator=(const Utf8Characters&) = delete;

private:
    static locale_t Utf8() {
        static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return utf8;
    }

    locale_t _before;
};

// Appends the first character of `text` in lower case. Returns its length in `text`.
size_t AppendLower(std::string& result, std::string_view text) {
    std::mbstate_t state{};
    wchar_t character = L'\0';
    const size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (length == 0 || length > text.size()) {  // a null character, or not a valid character
        result += text.front();
        return 1;
    }
    std::array<char, MB_LEN_MAX> bytes{};
    std::mbstate_t written{};
    const auto lower = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(character)));
    const size_t size = std::wcrtomb(bytes.data(), lower, &written);
    result.append(size > bytes.size() ? text.substr(0, length)
                                      : std::string_view(bytes.data(), size));
    return length;
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (c & '\x80') == 0; });
}

char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Returns the length of the character at the beginning of `text`; 0 when there is no valid one.
size_t LengthOfFirst(std::string_view text) {
    constexpr wchar_t kLastCharacter = 0x10ffff;
    std::mbstate_t state{};
    wchar_t character = L'\0';
    const size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (length == 0) {
        return 1;  // the null character
    }
    return length <= text.size() && character <= kLastCharacter ? length : 0;
}

}  // namespace

std::string LowerCase(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    if (IsAscii(text)) {  // nearly all texts are, and this is much cheaper
        std::transform(text.begin(), text.end(), std::back_inserter(result), LowerAscii);
        return result;
    }
    const Utf8Characters utf8;
    while (!text.empty()) {
        text.remove_prefix(AppendLower(result, text));
    }
    return result;
}

std::string ValidUtf8(std::string_view text) {
    constexpr std::string_view kReplacement = "\xef\xbf\xbd";
    std::string result;
    const Utf8Characters utf8;
    while (!text.empty()) {
        const size_t length = LengthOfFirst(text);
        result.append(length == 0 ? kReplacement : text.substr(0, length));
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result;
}

}  // namespace NAVO::platform
