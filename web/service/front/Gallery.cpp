// SPDX-License-Identifier: Apache-2.0
#include "front/Gallery.h"

namespace vellumo::web::front {
namespace {

using message::PictureState;
using message::Question;

constexpr size_t kMostAtOnce = 25;
constexpr size_t kMostBytesAtOnce = message::kMostBytes / 2;  // what else is in a question fits too
constexpr uint16_t kReady = 200;
constexpr uint16_t kNotYet = 202;
constexpr uint16_t kNone = 404;
static_assert(kMostAtOnce <= message::kMostPaths);

}  // namespace

Question Gallery::NextQuestion() const {
    Question question = _viewer;
    size_t bytes = 0;
    for (size_t i = _pictures.size(); i < _shown.size(); ++i) {
        const std::string& path = _shown[i].path;
        bytes += path.size();
        const bool isFull = question.paths.size() == kMostAtOnce || bytes > kMostBytesAtOnce;
        if (isFull && !question.paths.empty()) {
            break;
        }
        question.paths.push_back(path);
    }
    return question;
}

bool Gallery::Take(const message::Answer& answer) {
    const bool isComplete = IsComplete();
    if (answer.pictures.empty() != isComplete ||
        answer.pictures.size() > _shown.size() - _pictures.size()) {
        return false;
    }
    _pictures.insert(_pictures.end(), answer.pictures.begin(), answer.pictures.end());
    return true;
}

Question Gallery::ThumbnailOf(const ShownDocument& document) const {
    Question question = _viewer;
    question.kind = message::Kind::kConvert;
    question.product = message::Product::kThumbnail;
    question.path = document.path;
    return question;
}

std::vector<Question> Gallery::Missing(const Jobs& jobs) const {
    std::vector<Question> missing;
    for (size_t i = 0; i < _pictures.size(); ++i) {
        Question thumbnail = ThumbnailOf(_shown[i]);
        if (_pictures[i].status == kNotYet && jobs.TroubleOf(thumbnail).empty()) {
            missing.push_back(std::move(thumbnail));
        }
    }
    return missing;
}

Json::Value Gallery::StateOf(size_t place, const Jobs& jobs) const {
    const PictureState& picture = _pictures[place];
    Json::Value value;
    value["href"] = _shown[place].href;
    if (picture.status == kNone) {
        value["state"] = "none";
        return value;
    }
    value["version"] = picture.version;
    std::string code = picture.status == kReady ? "" : picture.code;
    if (picture.status == kNotYet) {
        code = jobs.TroubleOf(ThumbnailOf(_shown[place]));
    }
    if (!code.empty()) {
        value["state"] = "failed";
        value["code"] = code;
    } else {
        value["state"] = picture.status == kReady ? "ready" : "pending";
    }
    return value;
}

Json::Value Gallery::States(const Jobs& jobs) const {
    Json::Value answer;
    answer["states"] = Json::Value(Json::arrayValue);
    for (size_t i = 0; i < _pictures.size(); ++i) {
        answer["states"].append(StateOf(i, jobs));
    }
    return answer;
}

}  // namespace vellumo::web::front
