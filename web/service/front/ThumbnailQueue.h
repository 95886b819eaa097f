// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_THUMBNAILQUEUE_H
#define VELLUMO_WEB_FRONT_THUMBNAILQUEUE_H

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "message/Message.h"

namespace vellumo::web::front {

// The thumbnails that pages show and that are not made yet. Each session has a list of its own, and
// all visitors of a sharing link have one together, so that nobody's folder keeps the others
// waiting.
class ThumbnailQueue {
public:
    static constexpr size_t kMostAtOnceOfList = 2;
    static constexpr size_t kMostOfList = 400;

    // The page of `viewer` shows these documents now. They come before all others of the list, in
    // their order; what the same page has shown before and shows no more is forgotten. The others
    // in the list are those of other visitors; the last of them are forgotten when there are too
    // many. `viewer`: a question of the page.
    void Show(const message::Question& viewer, const std::vector<message::Question>& thumbnails);

    // Takes the thumbnail that begins next; nothing when none may. Each must be given to NoteEnd
    // later.
    std::optional<message::Question> Next();

    void NoteEnd(const message::Question& thumbnail);

    size_t Count() const;

private:
    struct List {
        std::list<message::Question> waiting;
        size_t running = 0;
        uint64_t turn = 0;  // when it had its last one
    };

    std::map<std::string, List> _lists;  // by the session's or the link's token
    uint64_t _turns = 0;
};

}  // namespace vellumo::web::front

#endif
