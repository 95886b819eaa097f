// SPDX-License-Identifier: Apache-2.0
#include "front/Bodies.h"

#include <json/reader.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "http/Target.h"

namespace vellumo::web::front {
namespace {

using message::Kind;
using message::LinkTerms;
using message::Question;

std::optional<Json::Value> ObjectIn(const std::string& body) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    try {
        const bool isGood =
            reader->parse(body.data(), body.data() + body.size(), &value, nullptr) &&
            value.isObject();
        return isGood ? std::optional(value) : std::nullopt;
    } catch (const Json::Exception&) {  // nested too deeply
        return std::nullopt;
    }
}

bool HasOnlyTexts(const Json::Value& object, std::initializer_list<const char*> names) {
    return object.size() == names.size() && std::all_of(names.begin(), names.end(), [&](auto name) {
               return object[name].isString();
           });
}

bool TakeText(const Json::Value& value, std::string& text) {
    text = value.isString() ? value.asString() : "";
    return (value.isString() || value.isNull()) && text.find('\0') == std::string::npos;
}

bool TakeNumber(const Json::Value& value, uint32_t& number) {
    number = value.isUInt() ? value.asUInt() : 0;
    return value.isUInt() || value.isNull();
}

bool TakeBool(const Json::Value& value, uint8_t& flag) {
    flag = value.isBool() && value.asBool() ? 1 : 0;
    return value.isBool();
}

bool TakePath(const Json::Value& value, std::string& path) {
    const auto components =
        value.isString() ? http::SplitPath('/' + value.asString()) : std::nullopt;
    if (!components || components->empty()) {
        return false;
    }
    path.clear();
    for (const std::string& component : *components) {
        path += '/' + component;
    }
    return true;
}

bool TakeMember(const std::string& name, const Json::Value& value, Question& question) {
    LinkTerms& terms = question.terms;
    const auto given = [&terms](LinkTerms::Member member) {
        terms.given = static_cast<uint8_t>(terms.given | member);
    };
    if (name == "label") {
        given(LinkTerms::kLabel);
        return TakeText(value, question.label);
    }
    if (name == "password") {
        given(LinkTerms::kPassword);
        return TakeText(value, question.password);
    }
    if (name == "expires") {
        given(LinkTerms::kExpires);
        return TakeNumber(value, terms.expires);
    }
    if (name == "maxViews") {
        given(LinkTerms::kMostViews);
        return TakeNumber(value, terms.mostViews);
    }
    if (name == "download") {
        given(LinkTerms::kDownload);
        return TakeBool(value, terms.mayDownload);
    }
    if (name == "revoked" && question.kind == Kind::kChangeLink) {
        given(LinkTerms::kRevoked);
        return TakeBool(value, terms.isRevoked);
    }
    return name == "path" && question.kind == Kind::kAddLink && TakePath(value, question.path);
}

}  // namespace

bool TakeLogin(const std::string& body, Question& question) {
    const auto object = ObjectIn(body);
    if (!object || !HasOnlyTexts(*object, {"user", "password"})) {
        return false;
    }
    question.user = (*object)["user"].asString();
    question.password = (*object)["password"].asString();
    return true;
}

bool TakePassword(const std::string& body, Question& question) {
    const auto object = ObjectIn(body);
    if (!object || !HasOnlyTexts(*object, {"password"})) {
        return false;
    }
    question.password = (*object)["password"].asString();
    return true;
}

bool TakePage(const std::string& body, Question& question) {
    constexpr Json::UInt kMostPage = 1'000'000;
    const auto object = ObjectIn(body);
    const bool isGood = object && object->size() == 1 && (*object)["page"].isUInt();
    question.page = isGood ? (*object)["page"].asUInt() : 0;
    return question.page >= 1 && question.page <= kMostPage;
}

std::optional<std::vector<ShownDocument>> ShownIn(const std::string& body) {
    constexpr Json::ArrayIndex kMostShown = 200;
    const auto object = ObjectIn(body);
    if (!object || object->size() != 1 || !(*object)["paths"].isArray() ||
        (*object)["paths"].size() > kMostShown) {
        return std::nullopt;
    }
    std::vector<ShownDocument> shown;
    for (const Json::Value& href : (*object)["paths"]) {
        ShownDocument document;
        if (!TakePath(href, document.path)) {
            return std::nullopt;
        }
        document.href = href.asString();
        shown.push_back(std::move(document));
    }
    return shown;
}

bool TakeTerms(const std::string& body, Question& question) {
    const auto object = ObjectIn(body);
    if (!object) {
        return false;
    }
    const std::vector<std::string> names = object->getMemberNames();
    const bool isGood = std::all_of(names.begin(), names.end(), [&](const std::string& name) {
        return TakeMember(name, (*object)[name], question);
    });
    return isGood && (question.kind != Kind::kAddLink || !question.path.empty());
}

}  // namespace vellumo::web::front
