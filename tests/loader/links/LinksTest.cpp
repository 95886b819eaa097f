// SPDX-License-Identifier: Apache-2.0
#include "loader/links/Links.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "Device.h"
#include "Process.h"
#include "loader/links/Visits.h"

using namespace vellumo::test;
using namespace vellumo::loader;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* kKey = "/device/links.key";
constexpr const char* kFile = "/device/links.db";
constexpr int64_t kNow = 1'800'000'000;
constexpr int64_t kHalfAnHour = 1800;

// The store as each of several processes opens it.
struct Store {
    LinkDatabase database{kFile};
    LinkKey key{kKey};
    Links links{database, key};
    Visits visits{database};

    // A link of ann's.
    Link Made(const LinkChange& terms = {}, std::string* token = nullptr) const {
        Link link;
        link.owner = "ann";
        link.ownerId = 1001;
        link.path = "/docs/a.docx";
        const std::string made = links.Add(link, terms, kNow);
        if (token != nullptr) {
            *token = made;
        }
        return *links.Find(link.id);
    }
    Visit Begun(const Link& link, int64_t now = kNow) const {
        return *visits.Find(link.id, visits.Begin(link, false, now), now);
    }
    // As Begun(), when the visit has gone on elsewhere.
    bool Opens(const Link& link, const Visit& visit, int64_t now, Manner manner = Manner::kAsked,
               const std::string& path = "/docs/a.docx") const {
        return visits.NoteOpening(link, visit, {now, "192.0.2.7", path}, manner);
    }
    int64_t Views(const Link& link) const { return links.Find(link.id)->views; }
};

class SharedLinks : public DeviceTest {
protected:
    SharedLinks() {
        for (const char* file : {kKey, kFile, "/device/links.db-wal", "/device/links.db-shm"}) {
            unlink(file);
        }
    }
};

}  // namespace

TEST_F(SharedLinks, AreFoundByTheirTokensAlone) {
    const Store store;
    std::string token;
    const Link link = store.Made({.label = "x", .password = "secret"}, &token);
    EXPECT_TRUE(IsLinkToken(token)) << token;
    EXPECT_EQ(store.links.Find(token)->id, link.id);
    EXPECT_FALSE(store.links.Find(token.substr(1)));
    EXPECT_FALSE(store.links.Find(HashOfToken(token)));
    EXPECT_EQ(store.links.TokenOf(link), token);
    EXPECT_TRUE(IsPassword(link.passwordHash, "secret"));
    EXPECT_FALSE(IsPassword(link.passwordHash, "Secret"));
}

TEST_F(SharedLinks, AreNotThoseOfAnotherAccountWithTheOwnersName) {
    const Store store;
    store.Made();
    EXPECT_THAT(store.links.ListOf("ann", 1001), SizeIs(1));
    EXPECT_THAT(store.links.ListOf("ann", 1002), IsEmpty());
    EXPECT_THAT(store.links.ListOf("bob", 1001), IsEmpty());
}

TEST_F(SharedLinks, AreOverWhenTheyExpireAreRevokedOrUsedUp) {
    Link link{.expires = kNow, .mostViews = 2, .views = 1};
    EXPECT_EQ(StateOf(link, kNow - 1), LinkState::kOpen);
    EXPECT_EQ(StateOf(link, kNow), LinkState::kExpired);
    link.expires = 0;
    EXPECT_EQ(StateOf(link, kNow), LinkState::kOpen);
    link.views = 2;
    EXPECT_EQ(StateOf(link, kNow), LinkState::kUsedUp);
    link.isRevoked = true;
    EXPECT_EQ(StateOf(link, kNow), LinkState::kRevoked);
}

TEST_F(SharedLinks, NeverGetTheNumberOfARemovedOne) {
    const Store store;
    const Link first = store.Made();
    EXPECT_TRUE(store.links.Remove(first.id));
    EXPECT_FALSE(store.links.Remove(first.id));
    EXPECT_GT(store.Made().id, first.id);
}

TEST_F(SharedLinks, GetOneKeyWhenSeveralProcessesMakeItAtOnce) {
    const auto results = RunAtOnce(8, [](int number) {
        WriteFile("/device/sealed-" + std::to_string(number), LinkKey(kKey).Seal("a token"));
        return 0;
    });
    EXPECT_THAT(results, testing::Each(0));
    for (int i = 0; i < 8; ++i) {
        const std::string sealed = ReadFile("/device/sealed-" + std::to_string(i));
        EXPECT_EQ(LinkKey(kKey).Open(sealed), "a token") << i;
    }
}

TEST_F(SharedLinks, TrustNoKeyThatOthersCanReadOrThatIsTorn) {
    const std::string sealed = LinkKey(kKey).Seal("a token");
    chmod(kKey, 0640);
    EXPECT_THROW(LinkKey{kKey}, std::runtime_error);
    chmod(kKey, 0600);
    std::string changed = sealed;
    changed.back() = static_cast<char>(changed.back() ^ 1);
    EXPECT_EQ(LinkKey(kKey).Open(changed), "");
    EXPECT_EQ(LinkKey(kKey).Open("short"), "");
    ASSERT_EQ(truncate(kKey, 31), 0);
    EXPECT_THROW(LinkKey{kKey}, std::runtime_error);
}

TEST_F(SharedLinks, CountAVisitOnceInHalfAnHourWhateverItOpens) {
    const Store store;
    const Link link = store.Made();
    const Visit visit = store.Begun(link);
    EXPECT_TRUE(store.Opens(link, visit, kNow));
    EXPECT_TRUE(store.Opens(link, visit, kNow + kHalfAnHour - 1));
    EXPECT_TRUE(store.Opens(link, visit, kNow + 1, Manner::kAsked, "/docs/b.docx"));
    EXPECT_TRUE(store.Opens(link, visit, kNow + kHalfAnHour, Manner::kFetched));
    EXPECT_EQ(store.Views(link), 1);
    EXPECT_THAT(store.visits.OpeningsOf(link.id, 10), SizeIs(2));
    EXPECT_TRUE(store.Opens(link, visit, kNow + kHalfAnHour));
    EXPECT_EQ(store.Views(link), 2);
    EXPECT_THAT(store.visits.OpeningsOf(link.id, 10), SizeIs(3));
}

TEST_F(SharedLinks, EndTheirVisitsAfterTwelveHoursAndWithTheirPassword) {
    const Store store;
    const Link link = store.Made({.password = "one"});
    const std::string token = store.visits.Begin(link, true, kNow);
    constexpr int64_t kTwelveHours = 12 * 3600;
    EXPECT_TRUE(store.visits.Find(link.id, token, kNow + kTwelveHours)->isUnlocked);
    EXPECT_FALSE(store.visits.Find(link.id, token, kNow + kTwelveHours + 1));
    EXPECT_FALSE(store.visits.Find(link.id + 1, token, kNow));
    store.links.Change(link.id, {.password = "two"});
    EXPECT_FALSE(store.visits.Find(link.id, token, kNow));
    EXPECT_FALSE(store.visits.Find(link.id, store.visits.Begin(link, true, kNow), kNow))
        << "a visit begins with the password of before";
}

TEST_F(SharedLinks, GiveTheLastViewToOneOfSeveralProcesses) {
    const Link link = Store().Made({.mostViews = 3});
    const auto results = RunAtOnce(8, [&](int) {
        const Store store;
        return store.Opens(link, store.Begun(link), kNow) ? 1 : 0;
    });
    EXPECT_EQ(std::count(results.begin(), results.end(), 1), 3);
    EXPECT_EQ(std::count(results.begin(), results.end(), 0), 5);
    EXPECT_EQ(Store().Views(link), 3);
}

TEST_F(SharedLinks, KeepALimitedNumberOfVisitsWithoutAPassword) {
    const Store store;
    const Link link = store.Made();
    auto insert = store.database.Prepare(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?3)"
        " INSERT INTO visits SELECT randomblob(32), ?1, ?2 + i, 0, 0 FROM n");
    insert.Bind(link.id).Bind(kNow - 20'000).Bind(Visits::kMostLocked + 100).Next();
    store.visits.Begin(link, true, kNow);
    auto locked =
        store.database.Prepare("SELECT count(*), min(begun) FROM visits WHERE is_unlocked = 0");
    ASSERT_TRUE(locked.Next());
    EXPECT_EQ(locked.Number(0), Visits::kMostLocked + 1);
    EXPECT_GT(locked.Number(1), kNow - 20'000 + 1) << "not the oldest have gone";
}

TEST_F(SharedLinks, CountEachViewOnceWhoeverIsKilled) {
    const Link link = Store().Made();
    for (int round = 0; round < 20; ++round) {
        ChildProcess visitor([&] {
            const Store store;
            for (;;) {
                store.Opens(link, store.Begun(link), kNow);
            }
            return 0;
        });
        usleep(static_cast<useconds_t>(5'000 + (round * 1'700)));
        visitor.Signal(SIGKILL);
        EXPECT_EQ(visitor.Wait(), -SIGKILL);
    }
    const Store store;
    const int64_t views = store.Views(link);
    EXPECT_GT(views, 0);
    auto counted = store.database.Prepare("SELECT count(*) FROM visits WHERE counted <> 0");
    ASSERT_TRUE(counted.Next());
    EXPECT_EQ(counted.Number(0), views);
    EXPECT_THAT(store.visits.OpeningsOf(link.id, Visits::kMostOpenings),
                SizeIs(static_cast<size_t>(std::min(views, Visits::kMostOpenings))));
}
