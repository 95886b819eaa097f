// SPDX-License-Identifier: Apache-2.0
// Requests: what is read of them does not depend on what follows them, and is what the rest of the
// service relies on.
#include <algorithm>
#include <string_view>

#include "Fuzz.h"
#include "http/Ranges.h"
#include "http/Request.h"
#include "http/Response.h"
#include "http/Target.h"

using vellumo::test::Require;
namespace http = vellumo::web::http;
using State = http::Parsed::State;

namespace {

bool HasControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char character) {
        return (character < ' ' && character != '\t') || character == 0x7F;
    });
}

void CheckPath(const std::string& path) {
    const auto components = http::SplitPath(path);
    if (!components) {
        return;
    }
    for (const std::string& component : *components) {
        Require(!component.empty() && component != "." && component != "..", "a name in a path");
        Require(
            component.find('/') == std::string::npos && component.find('\0') == std::string::npos,
            "a name has no slash and no NUL");
        Require(!HasControl(http::AttachmentNamed(component)), "a name makes no second field");
    }
}

void CheckPart(const http::Request& request) {
    for (const uint64_t size : {uint64_t{0}, uint64_t{1}, uint64_t{1} << 40}) {
        const http::Part part = http::PartOf(request, size, "\"tag\"");
        Require(part.first <= size && part.length <= size - part.first,
                "a part is inside its file");
        Require(part.kind != http::Part::Kind::kRange || part.length > 0, "a range is not empty");
    }
}

void Check(const http::Request& request) {
    Require(request.path.starts_with('/') && !HasControl(request.path), "a path");
    Require(request.body.size() <= http::kMostBody, "a body is not too long");
    for (const auto& [name, value] : request.fields) {
        Require(!name.empty() && !HasControl(name) && !HasControl(value), "a field is one line");
    }
    CheckPath(request.path);
    CheckPart(request);
    static_cast<void>(http::SplitQuery(request.query));
    static_cast<void>(http::CookieIn(request.Field("cookie").value_or(""), "vellumo"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const http::Parsed parsed = http::Parse(bytes);
    CheckPath(std::string(bytes));
    if (parsed.state == State::kRefused) {
        Require(parsed.status >= 400 && parsed.status < 600, "a refusal says why");
    }
    if (parsed.state != State::kComplete) {
        return 0;
    }
    Require(parsed.consumed > 0 && parsed.consumed <= size,
            "a request has the length that it says");
    const http::Parsed alone = http::Parse(bytes.substr(0, parsed.consumed));
    Require(alone.state == State::kComplete && alone.consumed == parsed.consumed &&
                alone.request.path == parsed.request.path &&
                alone.request.body == parsed.request.body &&
                alone.request.fields == parsed.request.fields,
            "what follows a request changes nothing");
    Require(http::Parse(bytes.substr(0, parsed.consumed - 1)).state == State::kIncomplete,
            "a request ends where it says");
    Check(parsed.request);
    return 0;
}
