// SPDX-License-Identifier: Apache-2.0
#include "jobs/Agenda.h"

#include <gtest/gtest.h>

namespace vellumo::daemon {
namespace {

using loader::Products;

Item Of(const std::string& path, Lane lane = Lane::kQueued) {
    return {path, Products::kBoth, lane};
}

// The documents in the order in which they are taken.
std::vector<std::string> TakeAll(Agenda& agenda, Lane last = Lane::kFound) {
    std::vector<std::string> paths;
    while (const auto item = agenda.Take(last)) {
        paths.push_back(item->realPath);
    }
    return paths;
}

using Paths = std::vector<std::string>;

TEST(AgendaTest, ServesThoseWhoComeFirstFirst) {
    Agenda agenda;
    agenda.Add(Of("/b"));
    agenda.Add(Of("/a"));
    EXPECT_EQ(TakeAll(agenda), (Paths{"/b", "/a"}));
}

TEST(AgendaTest, ServesTheMoreUrgentLanesFirst) {
    Agenda agenda;
    agenda.Add(Of("/found", Lane::kFound));
    agenda.Add(Of("/queued", Lane::kQueued));
    agenda.Add(Of("/now", Lane::kNow));
    agenda.Add(Of("/changed", Lane::kChanged));
    EXPECT_EQ(agenda.MostUrgent(), Lane::kNow);
    EXPECT_EQ(TakeAll(agenda), (Paths{"/now", "/changed", "/queued", "/found"}));
    EXPECT_EQ(agenda.MostUrgent(), std::nullopt);
}

TEST(AgendaTest, LeavesLessUrgentLanesAlone) {
    Agenda agenda;
    agenda.Add(Of("/queued", Lane::kQueued));
    EXPECT_EQ(agenda.Take(Lane::kChanged), std::nullopt);
    EXPECT_EQ(agenda.Count(Lane::kQueued), 1U);
}

TEST(AgendaTest, HasEachDocumentOnce) {
    Agenda agenda;
    agenda.Add({"/a", Products::kPdf, Lane::kQueued, {"1"}});
    agenda.Add({"/a", Products::kThumbnail, Lane::kQueued, {"2"}});
    const auto item = agenda.Take(Lane::kFound);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->products, Products::kBoth);
    EXPECT_EQ(item->tasks, (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(agenda.Take(Lane::kFound), std::nullopt);
}

TEST(AgendaTest, MovesADocumentThatBecomesUrgent) {
    Agenda agenda;
    agenda.Add(Of("/a", Lane::kFound));
    agenda.Add(Of("/b", Lane::kQueued));
    agenda.Add(Of("/a", Lane::kNow));
    EXPECT_EQ(agenda.Count(Lane::kFound), 0U);
    EXPECT_EQ(agenda.Count(Lane::kNow), 1U);
    EXPECT_EQ(TakeAll(agenda), (Paths{"/a", "/b"}));
}

TEST(AgendaTest, NeverMovesADocumentBack) {
    Agenda agenda;
    agenda.Add(Of("/a", Lane::kNow));
    agenda.Add(Of("/a", Lane::kFound));
    EXPECT_EQ(agenda.MostUrgent(), Lane::kNow);
    EXPECT_EQ(TakeAll(agenda), (Paths{"/a"}));
}

TEST(AgendaTest, WaitsForTheEndBeforeItConvertsADocumentAgain) {
    Agenda agenda;
    agenda.Add(Of("/a"));
    agenda.Take(Lane::kFound);
    agenda.Add(Of("/a", Lane::kChanged));
    EXPECT_TRUE(agenda.Has("/a"));
    EXPECT_EQ(agenda.Take(Lane::kFound), std::nullopt) << "it is being converted";
    agenda.Finish("/a");
    EXPECT_EQ(TakeAll(agenda), (Paths{"/a"}));
}

TEST(AgendaTest, ForgetsADocumentThatIsDone) {
    Agenda agenda;
    agenda.Add(Of("/a"));
    agenda.Take(Lane::kFound);
    agenda.Finish("/a");
    EXPECT_FALSE(agenda.Has("/a"));
}

}  // namespace
}  // namespace vellumo::daemon
