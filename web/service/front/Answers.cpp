// SPDX-License-Identifier: Apache-2.0
#include "front/Answers.h"

#include <json/writer.h>
#include <sys/stat.h>

#include "http/Ranges.h"

namespace vellumo::web::front {
namespace {

const char* TextOf(int status) {
    switch (status) {
        case 400:
            return "The request is not understood.";
        case 401:
            return "Log in first, or check the name and the password.";
        case 403:
            return "The request must come from the page itself.";
        case 404:
            return "There is nothing here, or nothing for you.";
        case 410:
            return "This link is over.";
        case 413:
            return "The request is too long.";
        case 422:
            return "This document cannot be shown.";
        case 429:
            return "Too many tries; wait a moment.";
        case 503:
            return "The server is busy; try again.";
        default:
            return "The request is refused.";
    }
}

std::string Written(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

Response WithContent(const http::Request& request, const message::Answer& answer,
                     support::Descriptor file) {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) {
        return ErrorResponse(503, "try-again", 1);
    }
    const auto size = static_cast<uint64_t>(status.st_size);
    Response response{{.status = 200, .length = size, .type = answer.type}};
    if (!answer.tag.empty()) {
        const std::string tag = '"' + answer.tag + '"';
        const http::Part part = http::PartOf(request, size, tag);
        response.first = part.first;
        response.head.length = part.length;
        response.head.cache = "private, no-cache";
        response.head.fields = {{"ETag", tag}, {"Accept-Ranges", "bytes"}};
        if (part.kind == http::Part::Kind::kUnchanged) {
            response.head.status = 304;
            return response;
        }
        if (part.kind != http::Part::Kind::kWhole) {
            const bool isRange = part.kind == http::Part::Kind::kRange;
            response.head.status = isRange ? 206 : 416;
            const std::string range = isRange ? std::to_string(part.first) + '-' +
                                                    std::to_string(part.first + part.length - 1)
                                              : "*";
            response.head.fields.emplace_back("Content-Range",
                                              "bytes " + range + '/' + std::to_string(size));
        }
    }
    response.file = std::move(file);
    return response;
}

// How a kind of file is kept by browsers, and what it may do in them.
void Adorn(http::ResponseHead& head, message::Kind kind, const message::Answer& answer) {
    using message::Kind;
    if (kind == Kind::kThumbnail) {
        head.cache = "private, max-age=300, must-revalidate";
    } else if (kind == Kind::kOriginal) {
        head.policy = http::kSandboxPolicy;
        head.fields.emplace_back("Content-Disposition", http::AttachmentNamed(answer.name));
    } else if (kind == Kind::kPdf) {
        head.policy = http::kPdfPolicy;
        head.fields.emplace_back("Content-Disposition", "inline");
    }
}

}  // namespace

Response JsonResponse(int status, const Json::Value& value) {
    Response response{{.status = status, .type = http::kJson}, Written(value)};
    response.head.length = response.body.size();
    return response;
}

Response ErrorResponse(int status, const std::string& code, uint32_t retryAfter) {
    Json::Value value;
    value["code"] = code;
    value["text"] = TextOf(status);
    value["retry"] = status == 429 || status == 503;
    Response response = JsonResponse(status, value);
    if (retryAfter != 0) {
        response.head.fields.emplace_back("Retry-After", std::to_string(retryAfter));
    }
    return response;
}

Response ErrorResponse(const message::Answer& answer) {
    return ErrorResponse(answer.status, answer.code, answer.retryAfter);
}

Response FileResponse(const http::Request& request, const message::Question& question,
                      const message::Answer& answer, support::Descriptor file) {
    Response response = WithContent(request, answer, std::move(file));
    Adorn(response.head, question.kind, answer);
    if (!question.link.empty()) {
        response.head.cache = "no-store";
    }
    return response;
}

}  // namespace vellumo::web::front
