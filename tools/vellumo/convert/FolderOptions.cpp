// SPDX-License-Identifier: Apache-2.0
#include "convert/FolderOptions.h"

#include <CLI/CLI.hpp>

#include <ctime>

#include "convert/Times.h"
#include "loader/Duration.h"

namespace vellumo::cli {
namespace {

constexpr unsigned kMostJobs = 1000;

// Checks for CLI11: "" when the text is good, else the error.
std::string CheckTime(const std::string& text) {
    return TimeOf(text, std::time(nullptr))
               ? ""
               : "'" + text +
                     "' is not a time; write a date (2026-11-22), a date and a time "
                     "(2026-11-22T14:30), or how long ago (2d, 12h, 30m)";
}

std::string CheckDuration(const std::string& text) {
    return loader::DurationOf(text) ? ""
                                    : "'" + text +
                                          "' is not a duration; write a number and its unit: "
                                          "90s, 30m, 8h or 2d";
}

}  // namespace

void FolderOptions::AddTo(CLI::App& arguments, CLI::Option* recursive) {
    arguments
        .add_option("--jobs", _jobs,
                    "Convert N documents at once; default: as many as the containers of the\n"
                    "pool can take. Only with -r, as are the options below down to --dry-run")
        ->check(CLI::Range(1U, kMostJobs))
        ->needs(recursive)
        ->option_text("N");
    AddFilters(arguments, recursive);
    arguments
        .add_option("--report", _report,
                    "Write each failure into the new file FILE as soon as it happens,\n"
                    "one JSON object a line")
        ->needs(recursive)
        ->option_text("FILE");
    arguments
        .add_option("--time-limit", _timeLimit,
                    "Start no conversion after this time (90s, 30m, 8h), and say how many\n"
                    "documents are left")
        ->check(CheckDuration)
        ->needs(recursive)
        ->option_text("TIME");
    arguments
        .add_flag("--dry-run", _isDryRun,
                  "Only show what would be converted, in the order of the conversions")
        ->needs(recursive)
        ->option_text(" ");
}

void FolderOptions::AddFilters(CLI::App& arguments, CLI::Option* recursive) {
    arguments
        .add_option("--exclude", _excluded,
                    "Skip files and folders whose name, or path below the named folder,\n"
                    "matches this glob pattern, as in '*.csv' or 'old/*'; may be repeated")
        ->allow_extra_args(false)
        ->needs(recursive)
        ->option_text("PATTERN");
    arguments
        .add_option("--newer", _newer,
                    "Skip documents that were not changed since TIME: a date (2026-11-22),\n"
                    "a date and a time (2026-11-22T14:30), or how long ago (2d, 12h)")
        ->check(CheckTime)
        ->needs(recursive)
        ->option_text("TIME");
}

FolderFilter FolderOptions::Filter() const {
    FolderFilter filter{.skipsLeftovers = true, .excluded = _excluded, .newerThan = {}};
    if (!_newer.empty()) {
        filter.newerThan = TimeOf(_newer, std::time(nullptr));
    }
    return filter;
}

std::optional<std::chrono::seconds> FolderOptions::TimeLimit() const {
    return loader::DurationOf(_timeLimit);
}

}  // namespace vellumo::cli
