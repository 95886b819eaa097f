// SPDX-License-Identifier: Apache-2.0
// Every route for everybody: the routes come from the service's own tables, so a new one cannot be
// forgotten here.
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "ServiceTest.h"
#include "front/Routes.h"

using namespace vellumo::test;
using vellumo::web::front::Route;
using vellumo::web::http::Method;
using vellumo::web::message::Kind;

namespace {

constexpr const char* kSecret = "docs/secret.docx";

// Somebody who asks, and the status of each answer.
struct Asker {
    std::string name;
    Browser browser{};
    std::string prefix = "/api/v1/";
    int ofOthers = 0;     // of the other routes; 0: 404 of one link of somebody else
    int ofDocuments = 0;  // of the routes with a path
    bool isVisitor = false;
};

bool HasPath(const Route& route) {
    return std::string(route.pattern).ends_with('*');
}

bool IsOfOneLink(const Route& route) {
    return std::string(route.pattern).find('#') != std::string::npos;
}

std::string BodyFor(const Route& route, const std::string& path) {
    switch (route.kind) {
        case Kind::kAddLink:
            return R"({"path": "docs/secret.docx"})";
        case Kind::kVisible:
            return R"({"paths": [")" + path + R"("]})";
        default:
            return R"({"password": "wrong"})";
    }
}

// Several documents at once: the answer has the path of each, and what it is for the asker.
void ExpectNoneVisible(const HttpAnswer& answer, const std::string& path, const std::string& what) {
    EXPECT_EQ(answer.status, 200) << what;
    EXPECT_EQ(answer.content, R"({"states":[{"href":")" + path + R"(","state":"none"}]})") << what;
}

// A request for a route: about the secret document, and the link with the number `id`.
HttpAnswer Asked(Asker& asker, const Route& route, const std::string& path, const std::string& id) {
    std::string target = asker.prefix + route.pattern;
    if (HasPath(route)) {
        target.replace(target.size() - 1, 1, path);
    }
    if (const size_t sign = target.find('#'); sign != std::string::npos) {
        target.replace(sign, 1, id);
    }
    switch (route.method) {
        case Method::kPut:
            return asker.browser.Send("PUT", target, R"({"page": 7})");
        case Method::kPatch:
            return asker.browser.Send("PATCH", target, "{}");
        case Method::kDelete:
            return asker.browser.Send("DELETE", target, "{}");
        case Method::kPost: {
            const std::string cookie = asker.browser.cookie;
            HttpAnswer answer = asker.browser.Post(target, BodyFor(route, path));
            asker.browser.cookie = cookie;
            return answer;
        }
        default:
            return asker.browser.Get(target);
    }
}

// What needs nobody's rights, or ends those of the asker.
bool IsOpenToAll(Kind kind, const Asker& asker) {
    const bool isLoggedIn = !asker.isVisitor && asker.ofOthers == 0;
    return kind == Kind::kLogin || kind == Kind::kLogout ||
           (kind == Kind::kLogoutAll && isLoggedIn);
}

// Whoever waits for no conversion ends none, and is told nothing about any.
int ExpectedOf(const Route& route, int ofDocuments) {
    return route.kind == Kind::kCancel ? 200 : ofDocuments;
}

class Matrix : public ServiceTest {
protected:
    // Makes both products of the secret document, so that only a missing right keeps them.
    static void Prepare(Browser& ann) {
        ASSERT_EQ(ann.LogIn("ann").status, 200);
        ASSERT_EQ(Opened(ann, kSecret), "ready");
        ASSERT_EQ(Opened(ann, kSecret, "thumbnail"), "ready");
    }

    static Json::Value Made(Browser& ann, const std::string& members) {
        return ann.Post("/api/v1/links", std::string(R"({"path": "docs")") + members + '}').Json();
    }

    static Asker Visitor(const std::string& name, const Json::Value& link, int status) {
        return {.name = name,
                .prefix = "/s/" + link["token"].asString() + "/api/v1/",
                .ofOthers = status,
                .ofDocuments = status,
                .isVisitor = true};
    }

    // No route gives the asker anything, and none tells a missing document from the secret one.
    static void ExpectNothing(Asker asker, const std::string& id) {
        const std::string secret = asker.isVisitor ? "secret.docx" : kSecret;
        const std::string missing = asker.isVisitor ? "nothing.docx" : "docs/nothing.docx";
        const auto routes = asker.isVisitor ? vellumo::web::front::RoutesOfVisitors()
                                            : vellumo::web::front::RoutesOfPersons();
        for (const Route& route : routes) {
            if (IsOpenToAll(route.kind, asker)) {
                continue;
            }
            const HttpAnswer answer = Asked(asker, route, secret, id);
            const std::string what = asker.name + ", " + route.pattern;
            if (HasPath(route)) {
                EXPECT_EQ(answer.status, ExpectedOf(route, asker.ofDocuments)) << what;
                EXPECT_EQ(answer.bytes, Asked(asker, route, missing, id).bytes) << what;
            } else if (route.kind == Kind::kVisible && asker.ofOthers == 0) {
                ExpectNoneVisible(answer, secret, what);
                ExpectNoneVisible(Asked(asker, route, missing, id), missing, what);
            } else if (asker.ofOthers != 0 || IsOfOneLink(route)) {
                EXPECT_EQ(answer.status, asker.ofOthers == 0 ? 404 : asker.ofOthers) << what;
            }
        }
    }
};

TEST_F(Matrix, GivesNothingToPersonsWithoutARight) {
    const RunningService service;
    Browser ann;
    Prepare(ann);
    const std::string id = Made(ann, "")["id"].asString();
    Asker stranger{.name = "stranger", .ofOthers = 401, .ofDocuments = 401};
    ExpectNothing(stranger, id);
    Asker bob{.name = "bob, who may not read it", .ofDocuments = 404};
    ASSERT_EQ(bob.browser.LogIn("bob").status, 200);
    ExpectNothing(bob, id);
    EXPECT_EQ(ann.Get("/api/v1/links").Json()["links"].size(), 1U);
}

TEST_F(Matrix, GivesNothingToVisitorsOfALinkThatIsNotOpenToThem) {
    const RunningService service;
    Browser ann;
    Prepare(ann);
    const Json::Value locked = Made(ann, R"(, "password": "right")");
    ExpectNothing(Visitor("without the password", locked, 401), "");
    Asker guesser = Visitor("with a forged cookie", locked, 401);
    guesser.browser.cookie = "__Secure-vellumo-visit=" + std::string(64, '0');
    ExpectNothing(guesser, "");
    Asker elsewhere = Visitor("with the cookie of another link", locked, 401);
    elsewhere.browser.Post(Visitor("", Made(ann, R"(, "password": "x")"), 0).prefix + "unlock",
                           R"({"password": "x"})");
    ASSERT_NE(elsewhere.browser.cookie, "");
    ExpectNothing(elsewhere, "");
    ExpectNothing(Visitor("expired", Made(ann, R"(, "expires": 1)"), 410), "");
    const Json::Value revoked = Made(ann, "");
    ann.Send("PATCH", "/api/v1/links/" + revoked["id"].asString(), R"({"revoked": true})");
    ExpectNothing(Visitor("revoked", revoked, 404), "");
    const Json::Value used = Made(ann, R"(, "maxViews": 1)");
    Browser first;
    ASSERT_EQ(first.Get(Visitor("", used, 0).prefix + "pdf/secret.docx").status, 200);
    ExpectNothing(Visitor("used up", used, 410), "");
    const Json::Value unknown;
    Asker nobody = Visitor("unknown", unknown, 404);
    nobody.prefix = "/s/0123456789abcdefghijkl/api/v1/";
    ExpectNothing(nobody, "");
    const Json::Value lockedOut = Made(ann, "");
    WriteFile("/device/locked-ann", "");
    ExpectNothing(Visitor("of a locked account", lockedOut, 410), "");
}

// A visitor with the password gets what the owner may read, by the same routes, and not what the
// owner may read no longer.
TEST_F(Matrix, GivesVisitorsWhatTheOwnerMayReadAndNotWhatSheMayReadNoLonger) {
    const RunningService service;
    Browser ann;
    Prepare(ann);
    Asker visitor = Visitor("with the password", Made(ann, R"(, "password": "right")"), 200);
    const HttpAnswer unlocked =
        visitor.browser.Post(visitor.prefix + "unlock", R"({"password": "right"})");
    ASSERT_EQ(unlocked.status, 200);
    for (const char* route : {"me", "list", "thumb/secret.docx", "pdf/secret.docx",
                              "original/secret.docx", "status/secret.docx"}) {
        EXPECT_EQ(visitor.browser.Get(visitor.prefix + route).status, 200) << route;
    }
    EXPECT_EQ(visitor.browser.Post(visitor.prefix + "open/secret.docx", "{}").status, 200);
    ASSERT_EQ(chown("/volume1/docs/secret.docx", 0, 0), 0);
    for (const Route& route : vellumo::web::front::RoutesOfVisitors()) {
        if (HasPath(route)) {
            const HttpAnswer answer = Asked(visitor, route, "secret.docx", "");
            EXPECT_EQ(answer.status, ExpectedOf(route, 404)) << route.pattern;
            EXPECT_EQ(answer.bytes, Asked(visitor, route, "nothing.docx", "").bytes)
                << route.pattern;
        } else if (route.kind == Kind::kVisible) {
            ExpectNoneVisible(Asked(visitor, route, "secret.docx", ""), "secret.docx", "visitor");
        }
    }
}

}  // namespace
