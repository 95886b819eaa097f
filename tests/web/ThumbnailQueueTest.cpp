// SPDX-License-Identifier: Apache-2.0
#include "front/ThumbnailQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace vellumo::web::front {
namespace {

using message::Question;

Question Of(const std::string& token, const std::string& path = "") {
    return {.token = token, .path = path};
}

Question OfVisitor(const std::string& address, const std::string& path = "") {
    return {.link = "link", .path = path, .address = address};
}

// Takes and ends thumbnails until there are none.
std::vector<std::string> AllOf(ThumbnailQueue& queue) {
    std::vector<std::string> paths;
    while (const auto next = queue.Next()) {
        paths.push_back(next->token + next->path);
        queue.NoteEnd(*next);
    }
    return paths;
}

TEST(Thumbnails, AreMadeInTheOrderInWhichThePageNamesThem) {
    ThumbnailQueue queue;
    queue.Show(Of("a"), {Of("a", "/1"), Of("a", "/2")});
    EXPECT_EQ(queue.Count(), 2U);
    EXPECT_THAT(AllOf(queue), ElementsAre("a/1", "a/2"));
    EXPECT_EQ(queue.Count(), 0U);
}

TEST(Thumbnails, ThatAPageShowsNoMoreAreForgotten) {
    ThumbnailQueue queue;
    queue.Show(Of("a"), {Of("a", "/1"), Of("a", "/2")});
    queue.Show(Of("b"), {Of("b", "/1")});
    queue.Show(Of("a"), {Of("a", "/3")});
    EXPECT_THAT(AllOf(queue), ElementsAre("a/3", "b/1"));
    queue.Show(Of("a"), {Of("a", "/1")});
    queue.Show(Of("a"), {});
    EXPECT_THAT(AllOf(queue), IsEmpty());
}

TEST(Thumbnails, OfAllSessionsTakeTurns) {
    ThumbnailQueue queue;
    queue.Show(Of("a"), {Of("a", "/1"), Of("a", "/2"), Of("a", "/3")});
    queue.Show(Of("b"), {Of("b", "/1"), Of("b", "/2")});
    EXPECT_THAT(AllOf(queue), ElementsAre("a/1", "b/1", "a/2", "b/2", "a/3"));
}

TEST(Thumbnails, OfOneSessionAreMadeAFewAtATime) {
    ThumbnailQueue queue;
    queue.Show(Of("a"), {Of("a", "/1"), Of("a", "/2"), Of("a", "/3")});
    const auto first = queue.Next();
    ASSERT_TRUE(first && queue.Next());
    EXPECT_FALSE(queue.Next());
    queue.Show(Of("b"), {Of("b", "/1")});
    EXPECT_EQ(queue.Next()->token, "b");
    queue.NoteEnd(*first);
    EXPECT_EQ(queue.Next()->path, "/3");
}

TEST(Thumbnails, OfOneVisitorDoNotRemoveThoseOfAnother) {
    ThumbnailQueue queue;
    queue.Show(OfVisitor("192.0.2.1"), {OfVisitor("192.0.2.1", "/1")});
    queue.Show(OfVisitor("192.0.2.2"), {OfVisitor("192.0.2.2", "/2")});
    EXPECT_THAT(AllOf(queue), ElementsAre("/2", "/1"));
}

TEST(Thumbnails, OfManyVisitorsOfALinkAreLimitedTogether) {
    ThumbnailQueue queue;
    for (int i = 0; i < 10; ++i) {
        const std::string address = "192.0.2." + std::to_string(i);
        queue.Show(OfVisitor(address), std::vector<Question>(200, OfVisitor(address, "/1")));
    }
    EXPECT_EQ(queue.Count(), ThumbnailQueue::kMostOfList);
}

}  // namespace
}  // namespace vellumo::web::front
