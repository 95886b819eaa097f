// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_HTTP_RESPONSE_H
#define VELLUMO_WEB_HTTP_RESPONSE_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace vellumo::web::http {

inline constexpr const char* kJson = "application/json; charset=utf-8";
inline constexpr const char* kPagePolicy =
    "default-src 'none'; script-src 'self' 'wasm-unsafe-eval'; worker-src 'self'; style-src "
    "'self'; "
    "font-src 'self'; connect-src 'self'; img-src 'self' blob: data:; base-uri 'none'; "
    "frame-ancestors 'none'; form-action 'self'";
// What browsers need to show a PDF in their own viewer, which they take for a plugin.
inline constexpr const char* kPdfPolicy =
    "default-src 'none'; object-src 'self'; style-src 'unsafe-inline'; frame-ancestors 'none'";
// A user's own file must run nothing, even when a browser shows it.
inline constexpr const char* kSandboxPolicy = "sandbox; default-src 'none'; frame-ancestors 'none'";

// The head of an answer. Content-Length is always sent, except with 204 and 304.
struct ResponseHead {
    int status = 200;
    uint64_t length = 0;
    std::string type{};  // "" for an answer without content
    std::string policy = kPagePolicy;
    std::string cache = "no-store";
    std::vector<std::pair<std::string, std::string>> fields{};  // further ones
    bool keepsConnection = true;  // false: no other request may follow
};

// Its bytes, with the security headers that every answer has. The values of `fields` must have no
// control characters: such a field is left out.
std::string BytesOf(const ResponseHead& head);

// The value of Content-Disposition that makes a browser save a file as `name`.
std::string AttachmentNamed(const std::string& name);

}  // namespace vellumo::web::http

#endif
