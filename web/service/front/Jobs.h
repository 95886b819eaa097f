// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_JOBS_H
#define VELLUMO_WEB_FRONT_JOBS_H

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "front/Backend.h"
#include "front/ThumbnailQueue.h"

namespace vellumo::web::front {

// The conversions that somebody waits for. They wait here for a process that converts, so that
// everybody can be told the place in the queue; nobody's question waits behind them. Thumbnails
// come after PDFs, which somebody opens, and those that a page shows come last.
class Jobs {
public:
    struct State {
        std::string phase;  // "queued", or the news of the process; "" for none
        size_t ahead = 0;   // jobs that begin earlier
        std::optional<std::chrono::seconds> left{};  // until it has ended, by the last conversions
    };

    // `atOnce`: how many processes convert.
    Jobs(asio::io_context& loop, Backend& backend, size_t atOnce)
        : _loop(loop), _backend(backend), _atOnce(atOnce) {}

    // Queues the conversion, unless the session waits for the same one already. Returns false when
    // the session, the visit or the link waits for as many as it may.
    bool Start(const message::Question& question);

    // The page of `viewer` shows documents whose thumbnails are missing, and no others; see
    // ThumbnailQueue. They do not count as those that Start queues.
    void Show(const message::Question& viewer, const std::vector<message::Question>& thumbnails);

    // Why the thumbnail was not made when a page showed it last; "" when nothing is known, also
    // since a minute has passed: the reason was the server's, and may be over.
    std::string TroubleOf(const message::Question& thumbnail) const;

    // The session, or the visit, waits for the conversion no more: it does not begin, or is
    // stopped.
    void Cancel(const message::Question& question);

    // What the session's conversion of this document does.
    State StateOf(const message::Question& question) const;

    // Waits until it does something else or has ended, but no longer than `limit`.
    asio::awaitable<void> WaitForNews(const message::Question& question,
                                      std::chrono::seconds limit);

    size_t CountOfWaiting() const { return _waiting.size() + _shown.Count(); }
    size_t CountOfRunning() const { return _running; }

private:
    using Clock = std::chrono::steady_clock;
    struct Job {
        message::Question question;
        std::string phase = "queued";
        std::shared_ptr<Backend::Line> line = std::make_shared<Backend::Line>();
        Clock::time_point begun{};
        bool isShown = false;  // it comes from _shown
    };
    struct Trouble {
        std::string code;
        Clock::time_point end;
    };
    using Key = std::string;
    static Key KeyOf(const message::Question& question);
    bool MayStart(const message::Question& question) const;
    void BeginNext();
    void BeginShown();
    void Begin(const std::shared_ptr<Job>& job);
    void NoteResult(const Job& job, const message::Answer& answer);
    void NoteDuration(Clock::duration duration);
    std::optional<std::chrono::seconds> LeftOf(const Job& job, size_t ahead) const;
    asio::awaitable<void> Run(std::shared_ptr<Job> job);

    asio::io_context& _loop;
    Backend& _backend;
    size_t _atOnce;
    size_t _running = 0;
    std::optional<double> _meanSeconds;  // that a conversion takes; the last ones count most
    std::map<Key, std::shared_ptr<Job>> _jobs;
    std::deque<std::shared_ptr<Job>> _waiting;  // PDFs, then thumbnails
    ThumbnailQueue _shown;
    size_t _shownRunning = 0;
    std::map<Key, Trouble> _troubles;
};

}  // namespace vellumo::web::front

#endif
