// SPDX-License-Identifier: Apache-2.0
#include "jobs/Agenda.h"

#include <algorithm>

namespace vellumo::daemon {
namespace {

void Merge(Item& item, const Item& other) {
    if (item.products != other.products) {
        item.products = loader::Products::kBoth;
    }
    item.lane = std::min(item.lane, other.lane);
    for (const std::string& task : other.tasks) {
        if (std::find(item.tasks.begin(), item.tasks.end(), task) == item.tasks.end()) {
            item.tasks.push_back(task);
        }
    }
}

}  // namespace

void Agenda::Add(Item item) {
    if (const auto running = _running.find(item.realPath); running != _running.end()) {
        if (running->second) {
            Merge(*running->second, item);
        } else {
            running->second = std::move(item);
        }
        return;
    }
    const std::string realPath = item.realPath;
    const auto [found, isNew] = _waiting.try_emplace(realPath, Entry{item, 0});
    Entry& entry = found->second;
    if (isNew) {
        Place(entry);
        return;
    }
    const Lane before = entry.item.lane;
    Merge(entry.item, item);
    if (entry.item.lane != before) {
        --CountOf(before);
        Place(entry);
    }
}

void Agenda::Place(Entry& entry) {
    entry.number = ++_number;
    _order.at(static_cast<size_t>(entry.item.lane)).push_back({entry.item.realPath, entry.number});
    ++CountOf(entry.item.lane);
}

std::optional<Item> Agenda::Take(Lane last) {
    for (const Lane lane : kLanes) {
        if (lane > last) {
            break;
        }
        if (auto item = TakeFrom(lane)) {
            return item;
        }
    }
    return std::nullopt;
}

std::optional<Item> Agenda::TakeFrom(Lane lane) {
    std::deque<Order>& order = _order.at(static_cast<size_t>(lane));
    while (!order.empty()) {
        const Order next = std::move(order.front());
        order.pop_front();
        const auto found = _waiting.find(next.realPath);
        if (found == _waiting.end() || found->second.number != next.number) {
            continue;  // it has moved to a more urgent lane
        }
        Item item = std::move(found->second.item);
        _waiting.erase(found);
        --CountOf(lane);
        _running.emplace(item.realPath, std::nullopt);
        return item;
    }
    return std::nullopt;
}

void Agenda::Finish(const std::string& realPath) {
    const auto running = _running.find(realPath);
    if (running == _running.end()) {
        return;
    }
    std::optional<Item> again = std::move(running->second);
    _running.erase(running);
    if (again) {
        Add(std::move(*again));
    }
}

bool Agenda::Has(const std::string& realPath) const {
    return _waiting.contains(realPath) || _running.contains(realPath);
}

std::optional<Lane> Agenda::MostUrgent() const {
    const auto* const lane = std::find_if(kLanes.begin(), kLanes.end(),
                                          [this](Lane candidate) { return Count(candidate) > 0; });
    return lane == kLanes.end() ? std::nullopt : std::optional(*lane);
}

}  // namespace vellumo::daemon
