// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_AGENDA_H
#define VELLUMO_DAEMON_AGENDA_H

#include <deque>
#include <map>
#include <optional>
#include <string>

#include "jobs/Item.h"

namespace vellumo::daemon {

// The documents that are next, each once: by lane, and first come first served in a lane. It holds
// hundreds of documents, not all that there are: the queue on the disk and the walks hold the rest.
class Agenda {
public:
    // Adds `item`. A document that is there already gets the more urgent of both lanes, the
    // products and the tasks of both. For a document that is being converted, the item waits until
    // that has ended.
    void Add(Item item);

    // Takes out the next item of the most urgent lane, up to and with `last`; from now on its
    // document is being converted, until Finish().
    std::optional<Item> Take(Lane last);

    // The conversion of the document at `realPath` has ended.
    void Finish(const std::string& realPath);

    // Whether the document is there or is being converted.
    bool Has(const std::string& realPath) const;

    // How many documents wait in the lane.
    size_t Count(Lane lane) const { return _counts.at(static_cast<size_t>(lane)); }

    // The most urgent lane in which a document waits; nothing when none does.
    std::optional<Lane> MostUrgent() const;

private:
    struct Order {
        std::string realPath;
        size_t number;
    };
    struct Entry {
        Item item;
        size_t number;  // of its place in the lane; older places of the document are void
    };

    size_t& CountOf(Lane lane) { return _counts.at(static_cast<size_t>(lane)); }
    void Place(Entry& entry);
    std::optional<Item> TakeFrom(Lane lane);

    std::map<std::string, Entry> _waiting;                // by real path
    std::map<std::string, std::optional<Item>> _running;  // by real path; what came meanwhile
    std::array<std::deque<Order>, kLanes.size()> _order;
    std::array<size_t, kLanes.size()> _counts{};
    size_t _number = 0;
};

}  // namespace vellumo::daemon

#endif
