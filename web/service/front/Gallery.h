// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_GALLERY_H
#define VELLUMO_WEB_FRONT_GALLERY_H

#include <json/value.h>

#include <vector>

#include "front/Bodies.h"
#include "front/Jobs.h"
#include "message/Message.h"

namespace vellumo::web::front {

// The documents that a page shows, and how their thumbnails are. They are looked up a few at a
// time.
class Gallery {
public:
    // `viewer`: the page's question, without paths.
    Gallery(message::Question viewer, std::vector<ShownDocument> shown)
        : _viewer(std::move(viewer)), _shown(std::move(shown)) {}

    // About the next documents; about none when there are none left.
    message::Question NextQuestion() const;

    // Takes the answer to that question; false when it is about other documents.
    bool Take(const message::Answer& answer);

    bool IsComplete() const { return _pictures.size() == _shown.size(); }
    const message::Question& Viewer() const { return _viewer; }

    // The thumbnails that are to be made.
    std::vector<message::Question> Missing(const Jobs& jobs) const;

    // {"states": [{"href", "state", "code", "version"}]}
    Json::Value States(const Jobs& jobs) const;

private:
    message::Question ThumbnailOf(const ShownDocument& document) const;
    Json::Value StateOf(size_t place, const Jobs& jobs) const;

    message::Question _viewer;
    std::vector<ShownDocument> _shown;
    std::vector<message::PictureState> _pictures;  // of the first of _shown
};

}  // namespace vellumo::web::front

#endif
