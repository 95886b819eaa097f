// SPDX-License-Identifier: Apache-2.0
// The description of the interface for programs, compared with the interface.
#include <regex>
#include <set>

#include "ServiceTest.h"
#include "StateFile.h"
#include "front/Routes.h"

using namespace vellumo::test;
using testing::IsEmpty;
using vellumo::web::front::Route;
using vellumo::web::front::RoutesOfPersons;
using vellumo::web::front::RoutesOfVisitors;
using vellumo::web::http::Method;

namespace {

Json::Value Described() {
    return vellumo::test::Parsed(ReadFile(VELLUMO_OPENAPI));
}

const char* NameOf(Method method) {
    switch (method) {
        case Method::kPost:
            return "post";
        case Method::kPut:
            return "put";
        case Method::kPatch:
            return "patch";
        case Method::kDelete:
            return "delete";
        default:
            return "get";
    }
}

std::set<std::string> Names(const std::string& prefix, std::span<const Route> routes) {
    std::set<std::string> names;
    for (const Route& route : routes) {
        std::string path = std::regex_replace(route.pattern, std::regex("#"), "{id}");
        path = std::regex_replace(path, std::regex("\\*"), "{path}");
        names.insert(NameOf(route.method) + (' ' + prefix) + path);
    }
    return names;
}

// The schema that an answer of this route with the status 200 has.
Json::Value SchemaOf(const Json::Value& description, const std::string& path,
                     const std::string& method = "get") {
    const std::string reference = description["paths"][path][method]["responses"]["200"]["content"]
                                             ["application/json"]["schema"]["$ref"]
                                                 .asString();
    return description["components"]["schemas"][reference.substr(reference.rfind('/') + 1)];
}

// The members of `value`, and of what is in it, that the schema does not name.
std::vector<std::string> Unnamed(const Json::Value& schema, const Json::Value& value,
                                 const Json::Value& description) {
    if (schema.isMember("$ref")) {
        const std::string name = schema["$ref"].asString();
        return Unnamed(description["components"]["schemas"][name.substr(name.rfind('/') + 1)],
                       value, description);
    }
    std::vector<std::string> unnamed;
    for (const std::string& member :
         value.isObject() ? value.getMemberNames() : std::vector<std::string>()) {
        if (!schema["properties"].isMember(member)) {
            unnamed.push_back(member);
            continue;
        }
        const auto deeper = Unnamed(schema["properties"][member], value[member], description);
        unnamed.insert(unnamed.end(), deeper.begin(), deeper.end());
    }
    for (const Json::Value& element : value.isArray() ? value : Json::Value()) {
        const auto deeper = Unnamed(schema["items"], element, description);
        unnamed.insert(unnamed.end(), deeper.begin(), deeper.end());
    }
    return unnamed;
}

TEST(OpenApi, HasExactlyTheRoutes) {
    std::set<std::string> described;
    const Json::Value description = Described();
    for (const std::string& path : description["paths"].getMemberNames()) {
        for (const std::string& method : description["paths"][path].getMemberNames()) {
            described.insert(method + ' ' + path);
        }
    }
    std::set<std::string> routes = Names("/api/v1/", RoutesOfPersons());
    routes.merge(Names("/s/{token}/api/v1/", RoutesOfVisitors()));
    EXPECT_EQ(described, routes);
}

TEST(OpenApi, NamesEachSchemaThatItRefersTo) {
    const std::string text = ReadFile(VELLUMO_OPENAPI);
    const Json::Value schemas = Described()["components"]["schemas"];
    const std::regex reference("#/components/schemas/([A-Za-z]+)");
    for (auto found = std::sregex_iterator(text.begin(), text.end(), reference);
         found != std::sregex_iterator(); ++found) {
        EXPECT_TRUE(schemas.isMember((*found)[1].str())) << (*found)[1];
    }
}

using OpenApiOf = ServiceTest;

TEST_F(OpenApiOf, TheServiceNamesAllThatItAnswers) {
    const RunningService service;
    const Json::Value description = Described();
    Browser ann;
    ann.LogIn("ann");
    const Json::Value link =
        ann.Post("/api/v1/links", R"({"path": "docs/a.docx", "label": "mine"})").Json();
    const std::string visitor = "/s/" + link["token"].asString() + "/api/v1/";
    EXPECT_EQ(Opened(ann, "docs/a.docx"), "ready");
    Browser().Post(visitor + "open/a.docx", "{}");
    const std::string id = std::to_string(link["id"].asInt());
    const std::map<std::string, std::string> answers{
        {"/api/v1/me", "/api/v1/me"},
        {"/api/v1/shares", "/api/v1/shares"},
        {"/api/v1/list/{path}", "/api/v1/list/docs"},
        {"/api/v1/status/{path}", "/api/v1/status/docs/a.docx"},
        {"/api/v1/place/{path}", "/api/v1/place/docs/a.docx"},
        {"/api/v1/links", "/api/v1/links"},
        {"/api/v1/links/{id}/visits", "/api/v1/links/" + id + "/visits"},
        {"/s/{token}/api/v1/me", visitor + "me"},
        {"/s/{token}/api/v1/list", visitor + "list"}};
    for (const auto& [path, address] : answers) {
        const Json::Value answer = ann.Get(address).Json();
        ASSERT_FALSE(answer.empty()) << path;
        EXPECT_THAT(Unnamed(SchemaOf(description, path), answer, description), IsEmpty()) << path;
    }
    const Json::Value states =
        ann.Post("/api/v1/visible", R"({"paths": ["docs/a.docx", "docs/x.docx"]})").Json();
    ASSERT_EQ(states["states"].size(), 2U);
    EXPECT_THAT(Unnamed(SchemaOf(description, "/api/v1/visible", "post"), states, description),
                IsEmpty());
    EXPECT_THAT(Unnamed(SchemaOf(description, "/api/v1/links", "post"), link, description),
                IsEmpty());
    const Json::Value error = ann.Get("/api/v1/list/nothing").Json();
    EXPECT_THAT(Unnamed(description["components"]["schemas"]["Error"], error, description),
                IsEmpty());
}

}  // namespace
