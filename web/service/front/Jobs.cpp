// SPDX-License-Identifier: Apache-2.0
#include "front/Jobs.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cmath>
#include <iterator>

namespace vellumo::web::front {
namespace {

constexpr auto kMostOfSession = 8;
constexpr auto kMostOfLink = 8;  // of all its visitors: who sends no cookie is always a new one
constexpr auto kMostOfVisit = 2;
constexpr std::chrono::minutes kTrouble{1};
constexpr int kOk = 200;

// How many of `jobs` there are in whose question `member` is the same.
template <typename Jobs>
auto CountSame(const Jobs& jobs, const message::Question& question,
               std::string message::Question::*member) {
    return std::count_if(jobs.begin(), jobs.end(), [&](const auto& entry) {
        const auto& job = *entry.second;
        return !job.isShown && job.question.*member == question.*member;
    });
}

}  // namespace

Jobs::Key Jobs::KeyOf(const message::Question& question) {
    return question.token + question.link + question.visit +
           (question.product == message::Product::kPdf ? 'p' : 't') + question.path;
}

bool Jobs::MayStart(const message::Question& question) const {
    using message::Question;
    if (question.link.empty()) {
        return CountSame(_jobs, question, &Question::token) < kMostOfSession;
    }
    return CountSame(_jobs, question, &Question::link) < kMostOfLink &&
           (question.visit.empty() || CountSame(_jobs, question, &Question::visit) < kMostOfVisit);
}

bool Jobs::Start(const message::Question& question) {
    const Key key = KeyOf(question);
    if (_jobs.contains(key)) {
        return true;
    }
    if (!MayStart(question)) {
        return false;
    }
    const auto job = std::make_shared<Job>(Job{question});
    job->question.kind = message::Kind::kConvert;
    _jobs.emplace(key, job);
    _troubles.erase(key);
    const auto isThumbnail = [](const auto& one) {
        return one->question.product == message::Product::kThumbnail;
    };
    _waiting.insert(isThumbnail(job) ? _waiting.end()
                                     : std::find_if(_waiting.begin(), _waiting.end(), isThumbnail),
                    job);
    BeginNext();
    return true;
}

void Jobs::Show(const message::Question& viewer, const std::vector<message::Question>& thumbnails) {
    std::vector<message::Question> missing;
    std::copy_if(thumbnails.begin(), thumbnails.end(), std::back_inserter(missing),
                 [this](const auto& one) { return !_jobs.contains(KeyOf(one)); });
    _shown.Show(viewer, missing);
    BeginNext();
}

std::string Jobs::TroubleOf(const message::Question& thumbnail) const {
    const auto found = _troubles.find(KeyOf(thumbnail));
    return found == _troubles.end() || found->second.end < Clock::now() ? "" : found->second.code;
}

Jobs::State Jobs::StateOf(const message::Question& question) const {
    const auto found = _jobs.find(KeyOf(question));
    if (found == _jobs.end()) {
        return {};
    }
    const auto place = std::find(_waiting.begin(), _waiting.end(), found->second);
    const auto ahead = static_cast<size_t>(place == _waiting.end() ? 0 : place - _waiting.begin());
    return {found->second->phase, ahead, LeftOf(*found->second, ahead)};
}

void Jobs::Cancel(const message::Question& question) {
    const auto found = _jobs.find(KeyOf(question));
    if (found == _jobs.end()) {
        return;
    }
    const auto place = std::find(_waiting.begin(), _waiting.end(), found->second);
    if (place == _waiting.end()) {
        found->second->line->AskToStop();
        return;
    }
    found->second->phase = "cancelled";
    _waiting.erase(place);
    _jobs.erase(found);
}

void Jobs::NoteDuration(Clock::duration duration) {
    constexpr double kShareOfLast = 0.2;
    const double seconds = std::chrono::duration<double>(duration).count();
    _meanSeconds =
        _meanSeconds ? *_meanSeconds + kShareOfLast * (seconds - *_meanSeconds) : seconds;
}

std::optional<std::chrono::seconds> Jobs::LeftOf(const Job& job, size_t ahead) const {
    if (!_meanSeconds) {
        return std::nullopt;
    }
    double seconds = *_meanSeconds;
    if (job.begun == Clock::time_point()) {
        const size_t turns = ahead / _atOnce;
        seconds *= 2 + static_cast<double>(turns);  // those that run, then each turn
    } else {
        seconds -= std::chrono::duration<double>(Clock::now() - job.begun).count();
    }
    return std::chrono::seconds(std::max<int64_t>(1, std::llround(seconds)));
}

asio::awaitable<void> Jobs::WaitForNews(const message::Question& question,
                                        std::chrono::seconds limit) {
    const auto found = _jobs.find(KeyOf(question));
    if (found == _jobs.end()) {
        co_return;
    }
    const std::shared_ptr<Job> job = found->second;
    const std::string before = job->phase;
    asio::steady_timer timer(_loop);
    const auto end = std::chrono::steady_clock::now() + limit;
    while (job->phase == before && std::chrono::steady_clock::now() < end) {
        constexpr std::chrono::milliseconds kLookAgain{100};
        timer.expires_after(kLookAgain);
        boost::system::error_code ignored;
        co_await timer.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
}

void Jobs::BeginNext() {
    while (_running < _atOnce && !_waiting.empty()) {
        const auto job = _waiting.front();
        _waiting.pop_front();
        Begin(job);
    }
    BeginShown();
}

// When several processes convert, one of them is kept free for what somebody opens.
void Jobs::BeginShown() {
    while (_running < _atOnce && _shownRunning < std::max<size_t>(1, _atOnce - 1)) {
        auto thumbnail = _shown.Next();
        if (!thumbnail) {
            return;
        }
        const Key key = KeyOf(*thumbnail);
        if (_jobs.contains(key)) {
            _shown.NoteEnd(*thumbnail);
            continue;
        }
        const auto job = std::make_shared<Job>(Job{std::move(*thumbnail)});
        job->isShown = true;
        ++_shownRunning;
        _jobs.emplace(key, job);
        Begin(job);
    }
}

void Jobs::Begin(const std::shared_ptr<Job>& job) {
    ++_running;
    job->begun = Clock::now();
    asio::co_spawn(_loop, Run(job), asio::detached);
}

void Jobs::NoteResult(const Job& job, const message::Answer& answer) {
    if (!job.isShown) {
        return;
    }
    --_shownRunning;
    _shown.NoteEnd(job.question);
    const Clock::time_point now = Clock::now();
    std::erase_if(_troubles, [now](const auto& entry) { return entry.second.end < now; });
    if (answer.status != kOk) {
        _troubles[KeyOf(job.question)] = {answer.code, now + kTrouble};
    }
}

asio::awaitable<void> Jobs::Run(std::shared_ptr<Job> job) {
    // It has a name: GCC 12 destroys a function without one, and so the job, twice after co_await.
    Backend::News news = [job](const std::string& phase) { job->phase = phase; };
    const Reply reply = co_await _backend.Ask(job->question, std::move(news), job->line);
    NoteResult(*job, reply.answer);
    NoteDuration(Clock::now() - job->begun);
    job->phase = "ended";
    _jobs.erase(KeyOf(job->question));
    --_running;
    BeginNext();
}

}  // namespace vellumo::web::front
