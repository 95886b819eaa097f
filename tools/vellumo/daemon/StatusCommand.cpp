// SPDX-License-Identifier: Apache-2.0
#include "daemon/StatusCommand.h"

#include <json/reader.h>

#include <unistd.h>

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

#include "app/Messages.h"
#include "app/Reasons.h"
#include "loader/Text.h"
#include "loader/cache/CacheIndex.h"
#include "loader/daemon/DaemonClient.h"
#include "loader/daemon/WebClient.h"
#include "loader/pool/PoolState.h"
#include "loader/pool/Readiness.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo status                   daemon, web service, pool and cache\n"
    "  vellumo status --health          let it convert a sample, and show whether that works\n"
    "  vellumo status --metrics >/var/lib/prometheus/node-exporter/vellumo.prom\n"
    "                                   its counters, as OpenMetrics text\n"
    "The daemon is navovellumod; 'systemctl start navovellumod' starts it.";

constexpr const char* kWhat = "cannot show the daemon's status";
constexpr auto kAnswerLimit = std::chrono::seconds(10);
constexpr auto kHealthLimit = std::chrono::seconds(300);
constexpr int kLabelWidth = 11;
constexpr int64_t kSecondsPerMinute = 60;
constexpr int64_t kSecondsPerHour = 3600;

[[noreturn]] void RefuseWithoutDaemon(int error) {
    const bool isDown = error == ENOENT || error == ECONNREFUSED;
    throw Failure({ExitCode::kFailed,
                   kWhat,
                   isDown ? "the daemon does not run"
                          : std::string("the daemon does not answer: ") + std::strerror(error),
                   isDown ? "'systemctl start navovellumod' starts it."
                          : "'systemctl status navovellumod' shows its messages.",
                   {}});
}

std::string Ask(const std::string& question, std::chrono::seconds limit) {
    const auto answer = loader::AskDaemon(question, limit);
    if (!answer) {
        RefuseWithoutDaemon(errno);
    }
    return *answer;
}

Json::Value AskForJson(const std::string& question, std::chrono::seconds limit) {
    const std::string text = Ask(question, limit);
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr) ||
        !value.isObject()) {
        throw Failure({ExitCode::kFailed,
                       kWhat,
                       "the daemon answers something unknown",
                       "Restart the daemon; it may be of another version.",
                       {}});
    }
    return value;
}

void PrintLine(const std::string& label, const std::string& text) {
    std::cout << std::left << std::setw(kLabelWidth) << (label.empty() ? "" : label + ":")
              << Printable(text) << '\n';
}

std::string LocalTime(int64_t seconds) {
    const std::time_t time = seconds;
    std::tm local{};
    localtime_r(&time, &local);
    std::ostringstream text;
    text << std::put_time(&local, "%F %T");
    return text.str();
}

std::string Lasting(int64_t seconds) {
    if (seconds >= 2 * kSecondsPerHour) {
        return std::to_string(seconds / kSecondsPerHour) + " hours";
    }
    return seconds >= 2 * kSecondsPerMinute ? std::to_string(seconds / kSecondsPerMinute) + " min"
                                            : std::to_string(seconds) + " s";
}

std::string Rounded(double number) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << number;
    return text.str();
}

std::string Activity(const Json::Value& daemon) {
    const std::string obstacle = daemon["obstacle"].asString();
    if (!daemon["running"].empty()) {
        return "converts " + loader::Count(daemon["running"].size(), "document");
    }
    if (!obstacle.empty()) {
        return "waits: " + obstacle;
    }
    const std::string folder = daemon["folder"].asString();
    return folder.empty() ? "idle" : "looks through " + folder;
}

std::string WaitingText(const Json::Value& daemon) {
    std::string text;
    for (const char* lane : {"now", "changed", "queued", "found"}) {
        text += daemon["waiting"][lane].asString() + " " + lane + ", ";
    }
    return text + daemon["deferred"].asString() + " to try again; " +
           (daemon["queue"].isNull() ? "?" : daemon["queue"].asString()) + " in the queue";
}

std::string PaceText(const Json::Value& daemon) {
    std::string text = Rounded(daemon["perMinute"].asDouble()) + " per minute";
    if (!daemon["secondsLeft"].isNull()) {
        text += ", at least " + Lasting(daemon["secondsLeft"].asInt64()) + " left";
    }
    return text;
}

std::string DoneText(const Json::Value& done) {
    return done["done"].asString() + " converted, " + done["fresh"].asString() + " up to date, " +
           done["failed"].asString() + " failed, " + done["gone"].asString() + " gone";
}

void PrintWatching(const Json::Value& daemon) {
    if (!daemon["looksAfterShares"].asBool()) {
        PrintLine("Shares", "not looked after; 'vellumo index on' changes that");
        return;
    }
    for (const Json::Value& root : daemon["watching"]) {
        PrintLine("Shares", root["folder"].asString() + ": " + root["way"].asString() +
                                (root["why"].asString().empty() ? "" : " (") +
                                root["why"].asString() +
                                (root["why"].asString().empty() ? "" : ")"));
    }
}

void PrintDaemon(const Json::Value& daemon) {
    PrintLine("Daemon", Activity(daemon) + " (process " + daemon["pid"].asString() + ", since " +
                            LocalTime(daemon["started"].asInt64()) + ")");
    PrintLine("Waiting", WaitingText(daemon));
    PrintLine("Pace", PaceText(daemon));
    PrintLine("Done", DoneText(daemon["done"]));
    for (const Json::Value& job : daemon["running"]) {
        PrintLine("Running", job["document"].asString() + ": " + job["activity"].asString() + " (" +
                                 Rounded(job["seconds"].asDouble()) + " s)");
    }
    PrintWatching(daemon);
    for (const Json::Value& failure : daemon["lastFailures"]) {
        PrintLine("Failed", failure["document"].asString() + ": " + failure["why"].asString());
    }
}

Json::Value PoolToJson(const loader::PoolState& pool) {
    Json::Value value(Json::objectValue);
    size_t busy = 0;
    for (const loader::Container& container : pool.containers) {
        busy += container.inUse > 0 ? 1U : 0U;
    }
    value["containers"] = Json::UInt64{pool.containers.size()};
    value["busy"] = Json::UInt64{busy};
    value["waiting"] = Json::UInt64{pool.Waiting()};
    return value;
}

Json::Value CacheToJson(const loader::CacheTotals& totals) {
    Json::Value value(Json::objectValue);
    value["documents"] = Json::Int64{totals.documents};
    value["bytes"] = Json::Int64{totals.bytes};
    return value;
}

void PrintPoolAndCache(const Json::Value& pool, const Json::Value& cache) {
    PrintLine("Pool", pool["containers"].asString() + " containers, " + pool["busy"].asString() +
                          " busy, " + pool["waiting"].asString() + " jobs waiting");
    PrintLine("Cache", cache["documents"].asString() + " documents with a kept PDF, " +
                           cache["bytes"].asString() + " bytes");
}

// null when the web service is not installed. "runs" is null when its settings say that it tells
// nobody.
Json::Value WebToJson() {
    const std::string socket = loader::WebStatusSocket();
    if (!loader::WebProgram() && access(socket.c_str(), F_OK) != 0) {
        return Json::nullValue;
    }
    Json::Value value(Json::objectValue);
    if (socket == "none") {
        value["runs"] = Json::nullValue;
        return value;
    }
    const auto state = loader::AskWebService(socket, kAnswerLimit);
    value["runs"] = state.has_value();
    if (state) {
        value["connections"] = Json::Int64{state->connections};
        value["sessions"] =
            state->sessions ? Json::Value(Json::Int64{*state->sessions}) : Json::Value();
        value["converting"] = Json::Int64{state->converting};
        value["waiting"] = Json::Int64{state->waiting};
    }
    return value;
}

void PrintWeb(const Json::Value& web) {
    if (web.isNull()) {
        return;
    }
    if (web["runs"].isNull()) {
        PrintLine("Web", "unknown: its settings say status-socket = none");
    } else if (!web["runs"].asBool()) {
        PrintLine("Web", "does not run; 'systemctl start vellumo-web' starts it");
    } else {
        const std::string sessions = web["sessions"].isNull() ? "?" : web["sessions"].asString();
        PrintLine("Web", "runs: " + web["connections"].asString() + " connections, " + sessions +
                             " sessions, " + web["converting"].asString() +
                             " conversions running, " + web["waiting"].asString() + " waiting");
    }
}

}  // namespace

StatusCommand::StatusCommand(CLI::App& app)
    : Command(app.add_subcommand("status", "Show what the daemon does")) {
    Arguments()->footer(kExamples);
    CLI::Option* const metrics = Arguments()->add_flag(
        "--metrics", _metrics, "Print the daemon's counters as OpenMetrics text");
    Arguments()
        ->add_flag("--health", _health, "Let the daemon convert a sample document")
        ->excludes(metrics);
}

CommandResult StatusCommand::Run(bool json) {
    loader::CheckRights(kWhat);
    if (_metrics) {
        return ShowMetrics(json);
    }
    return _health ? ShowHealth(json) : ShowStatus(json);
}

CommandResult StatusCommand::ShowMetrics(bool json) {
    CommandResult result{ExitCode::kDone};
    const std::string text = Ask("metrics", kAnswerLimit);
    result.json["metrics"] = text;
    if (!json) {
        std::cout << text;
    }
    return result;
}

CommandResult StatusCommand::ShowHealth(bool json) {
    CommandResult result{ExitCode::kDone};
    const Json::Value health = AskForJson("health", kHealthLimit);
    result.json["health"] = health;
    if (!health["healthy"].asBool()) {
        throw Failure({ExitCode::kPool,
                       "the daemon is not healthy",
                       health["why"].asString(),
                       "'vellumo pool doctor' tells what to do.",
                       {}});
    }
    if (!json) {
        std::cout << "healthy: a sample was converted in " << Rounded(health["seconds"].asDouble())
                  << " s, at " << LocalTime(health["time"].asInt64()) << '\n';
    }
    return result;
}

// The pool and the cache are shown also without a daemon.
CommandResult StatusCommand::ShowStatus(bool json) {
    CommandResult result{ExitCode::kDone};
    const auto noDaemon = ProblemOf([&] {
        result.json["daemon"] = AskForJson("status", kAnswerLimit);
        if (!json) {
            PrintDaemon(result.json["daemon"]);
        }
    });
    result.json["web"] = WebToJson();
    result.json["pool"] = PoolToJson(loader::ReadPool(kWhat, core::LOCK_TIMEOUT_SECS));
    result.json["cache"] = CacheToJson(loader::CacheIndex(kWhat).Totals());
    if (!json) {
        PrintWeb(result.json["web"]);
        PrintPoolAndCache(result.json["pool"], result.json["cache"]);
        std::cout.flush();
    }
    if (noDaemon) {
        result.FailWith(*noDaemon);
        if (!json) {
            Print(std::cerr, *noDaemon);
        }
    }
    return result;
}

}  // namespace vellumo::cli
