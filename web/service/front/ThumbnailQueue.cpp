// SPDX-License-Identifier: Apache-2.0
#include "front/ThumbnailQueue.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace vellumo::web::front {
namespace {

using message::Question;

std::string ListOf(const Question& question) {
    return question.token + question.link;
}

// Most visitors have no visit yet, so the address tells them apart, too. Those behind one address
// may push each other's thumbnails out; each gets them at the next question of its page.
bool HaveOneViewer(const Question& one, const Question& other) {
    return one.visit == other.visit && (one.link.empty() || one.address == other.address);
}

}  // namespace

void ThumbnailQueue::Show(const Question& viewer, const std::vector<Question>& thumbnails) {
    const std::string name = ListOf(viewer);
    List& list = _lists[name];
    list.waiting.remove_if([&](const Question& one) { return HaveOneViewer(one, viewer); });
    list.waiting.insert(list.waiting.begin(), thumbnails.begin(), thumbnails.end());
    if (list.waiting.size() > kMostOfList) {
        list.waiting.resize(kMostOfList);
    }
    if (list.waiting.empty() && list.running == 0) {
        _lists.erase(name);
    }
}

// The turn goes to the list of which the fewest run, and then to the one that has waited longest.
std::optional<Question> ThumbnailQueue::Next() {
    List* next = nullptr;
    for (auto& [name, list] : _lists) {
        const bool mayBegin = !list.waiting.empty() && list.running < kMostAtOnceOfList;
        if (mayBegin && (next == nullptr ||
                         std::tie(list.running, list.turn) < std::tie(next->running, next->turn))) {
            next = &list;
        }
    }
    if (next == nullptr) {
        return std::nullopt;
    }
    Question thumbnail = std::move(next->waiting.front());
    next->waiting.pop_front();
    ++next->running;
    next->turn = ++_turns;
    return thumbnail;
}

void ThumbnailQueue::NoteEnd(const Question& thumbnail) {
    const auto found = _lists.find(ListOf(thumbnail));
    if (found != _lists.end() && --found->second.running == 0 && found->second.waiting.empty()) {
        _lists.erase(found);
    }
}

size_t ThumbnailQueue::Count() const {
    return std::accumulate(
        _lists.begin(), _lists.end(), size_t{0},
        [](size_t sum, const auto& entry) { return sum + entry.second.waiting.size(); });
}

}  // namespace vellumo::web::front
