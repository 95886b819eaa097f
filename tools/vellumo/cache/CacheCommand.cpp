// SPDX-License-Identifier: Apache-2.0
#include "cache/CacheCommand.h"

#include <CLI/CLI.hpp>

#include <sys/stat.h>

#include <iomanip>
#include <iostream>
#include <optional>

#include "app/InvokingUser.h"
#include "app/Messages.h"
#include "app/Reasons.h"
#include "cache/SweepView.h"
#include "documents/Folder.h"
#include "loader/Text.h"
#include "loader/cache/CacheIndex.h"
#include "loader/cache/Collection.h"
#include "loader/cache/KeptProducts.h"
#include "loader/failures/FailureSweep.h"
#include "loader/pool/Readiness.h"
#include "loader/settings/Settings.h"
#include "vellumo/Constants.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr int64_t kScratchAge = 3600;  // seconds; much longer than a tool may run

constexpr const char* kNotKnown = "is not known ('vellumo settings' shows what to correct)";

constexpr const char* kExamples =
    "Examples:\n"
    "  vellumo cache size                             show the size of the cache, and its limit\n"
    "  vellumo cache list /docs/report.docx           list what is kept of a document\n"
    "  vellumo cache list /docs                       list what is kept of a share's documents\n"
    "  vellumo cache clean /docs/report.docx          remove its PDF and its thumbnail\n"
    "  vellumo cache remove --pdf /docs/report.docx   remove its PDF only\n"
    "  vellumo cache collect --limit 500000000        remove the oldest PDFs down to 500 MB\n"
    "  vellumo cache sweep --dry-run                  show what nobody needs any more\n"
    "PDFs and thumbnails are kept in a tree that only root can enter. An index lists the PDFs "
    "with\n"
    "their sizes and their last use; it does not count thumbnails. Removing is safe: the next\n"
    "conversion makes the product again.";

// One product, or one mark of a failed thumbnail.
struct Entry {
    std::string target;
    std::string name;    // "pdf", "thumbnail", "failed thumbnail", or a stream's own name
    const char* state;   // "fresh", "stale", "missing"
    int64_t size;        // bytes
    std::string access;  // time of the last use; "" when it is not recorded
};

std::string Name(const std::string& stream) {
    if (stream == core::SZK_THUMB_PDF_TYPE) {
        return "pdf";
    }
    return stream == core::SZK_THUMB_TYPE ? "thumbnail" : stream;
}

std::optional<struct stat> StatusOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

// A document of which only the real path is known.
loader::Document AtRealPath(const std::string& realPath) {
    return {"", "", realPath, "", nullptr, ""};
}

const char* StateOf(const loader::IndexedStream& stream) {
    const auto document = StatusOf(stream.target);
    if (!StatusOf(loader::KeptProducts(AtRealPath(stream.target)).PathOf(stream.stream))) {
        return "missing";
    }
    return document && document->st_mtime == stream.modified ? "fresh" : "stale";
}

void AddUnlisted(const std::string& target, std::vector<Entry>& entries) {
    const loader::Document document = AtRealPath(target);
    const loader::KeptProducts products(document);
    const auto add = [&](const char* name, const std::string& path) {
        if (const auto file = StatusOf(path)) {
            entries.push_back(
                {target, name, products.IsOutOfDate(path) ? "stale" : "fresh", file->st_size, ""});
        }
    };
    add("thumbnail", products.PathOf(core::SZK_THUMB_TYPE));
    add("failed thumbnail", products.MarkPath());
}

// The products of the document at `realPath` and of the indexed documents below it; with "", of all
// indexed documents.
std::vector<Entry> EntriesOf(loader::CacheIndex& index, const std::string& realPath) {
    std::vector<Entry> entries;
    std::string last;
    for (const loader::IndexedStream& stream : index.Streams(realPath)) {
        if (!last.empty() && last != stream.target) {
            AddUnlisted(last, entries);
        }
        last = stream.target;
        entries.push_back({stream.target, Name(stream.stream), StateOf(stream), stream.size,
                           loader::Date(stream.access)});
    }
    if (!last.empty()) {
        AddUnlisted(last, entries);
    }
    if (!realPath.empty() && last != realPath) {
        AddUnlisted(realPath, entries);
    }
    return entries;
}

Json::Value ToJson(const Entry& entry) {
    Json::Value value(Json::objectValue);
    value["document"] = entry.target;
    value["product"] = entry.name;
    value["state"] = entry.state;
    value["size"] = Json::Int64{entry.size};
    value["access"] = entry.access.empty() ? Json::Value() : Json::Value(entry.access);
    return value;
}

void Print(const std::vector<Entry>& entries) {
    if (entries.empty()) {
        std::cout << "Nothing is kept.\n";
        return;
    }
    std::cout << std::left << std::setw(18) << "PRODUCT" << std::setw(9) << "STATE" << std::right
              << std::setw(12) << "BYTES"
              << "  " << std::left << std::setw(22) << "LAST USE"
              << "DOCUMENT\n";
    for (const Entry& entry : entries) {
        std::cout << std::left << std::setw(18) << entry.name << std::setw(9) << entry.state
                  << std::right << std::setw(12) << entry.size << "  " << std::left << std::setw(22)
                  << (entry.access.empty() ? "-" : entry.access) << Printable(entry.target) << '\n';
    }
}

std::optional<int64_t> AdministratorsLimit() {
    return loader::LimitOf(loader::Settings::Read());
}

std::string Bytes(int64_t bytes) {
    return std::to_string(bytes) + " bytes";
}

Json::Value ToJson(const loader::CacheTotals& totals) {
    Json::Value value(Json::objectValue);
    value["documents"] = Json::Int64{totals.documents};
    value["products"] = Json::Int64{totals.streams};
    value["bytes"] = Json::Int64{totals.bytes};
    return value;
}

}  // namespace

CacheCommand::CacheCommand(CLI::App& app)
    : ActionCommand(
          app.add_subcommand("cache", "Show and remove the PDFs and thumbnails that are kept")),
      _user(InvokingUser()),
      _age(kScratchAge) {
    Arguments()->footer(kExamples);
    Arguments()->require_subcommand(1);
    AddDocuments(AddAction("list", "List the products that are kept", [this] { return List(); }),
                 "Documents or folders; default: all indexed documents");
    AddAction("size", "Show the size of the cache and its limit", [this] { return Size(); });
    CLI::App* clean =
        AddAction("clean", "Remove all products of documents", [this] { return Clean(); });
    AddDocuments(clean, "Documents, which need not exist any more")->required();
    clean->add_flag("-r,--recursive", _recursive,
                    "Also clean all documents in folders and below them");
    CLI::App* remove = AddAction("remove", "Remove the PDF, the thumbnail or both of documents",
                                 [this] { return Remove(); });
    AddDocuments(remove, "Documents, which need not exist any more")->required();
    remove->add_flag("--pdf", _pdf, "Remove the PDF");
    remove->add_flag("--thumbnail", _thumbnail, "Remove the thumbnail, or the mark of its failure");
    AddAction("collect", "Remove the PDFs that were used longest ago, down to a limit",
              [this] { return Collect(); })
        ->add_option("--limit", _limit, "Bytes that may stay; default: the setting cacheLimit")
        ->check(CLI::NonNegativeNumber)
        ->option_text("BYTES");
    CLI::App* sweep =
        AddAction("sweep", "Remove products without documents, and what killed processes have left",
                  [this] { return Sweep(); });
    sweep->add_flag("-n,--dry-run", _dryRun, "Only show what would be removed");
    sweep->add_option("--age", _age, "How old a scratch file must be, in seconds; default: 3600")
        ->check(CLI::NonNegativeNumber)
        ->option_text("SECONDS");
}

CLI::Option* CacheCommand::AddDocuments(CLI::App* arguments, const std::string& description) {
    arguments->add_option("--user", _user, "The user whose home folder /home means; default: you")
        ->option_text("NAME");
    return arguments->add_option("SHARE_PATH", _sharePaths, description)->option_text("...");
}

CommandResult CacheCommand::Run(bool json) {
    loader::CheckRights("cannot use the cache");
    return ActionCommand::Run(json);
}

std::vector<loader::Document> CacheCommand::Documents() const {
    std::vector<loader::Document> documents;
    for (const std::string& sharePath : _sharePaths) {
        documents.push_back(loader::Resolve(sharePath, _user));
    }
    return documents;
}

CommandResult CacheCommand::List() const {
    loader::CacheIndex index("cannot list the cache");
    std::vector<Entry> entries;
    if (_sharePaths.empty()) {
        entries = EntriesOf(index, "");
    }
    for (const loader::Document& document : Documents()) {
        const std::vector<Entry> more = EntriesOf(index, document.realPath);
        entries.insert(entries.end(), more.begin(), more.end());
    }
    CommandResult result{ExitCode::kDone};
    result.json["entries"] = Json::Value(Json::arrayValue);
    for (const Entry& entry : entries) {
        result.json["entries"].append(ToJson(entry));
    }
    if (!Json()) {
        Print(entries);
    }
    return result;
}

CommandResult CacheCommand::Size() const {
    const loader::CacheTotals totals = loader::CacheIndex("cannot measure the cache").Totals();
    const auto file = StatusOf(core::SZF_CACHE_DB_PATH);
    CommandResult result{ExitCode::kDone, ToJson(totals)};
    const auto limit = AdministratorsLimit();
    result.json["limit"] = limit ? Json::Value(Json::Int64{*limit}) : Json::Value();
    result.json["indexBytes"] = Json::Int64{file ? file->st_size : 0};
    if (!Json()) {
        std::cout << loader::Count(static_cast<size_t>(totals.streams), "PDF") << " of "
                  << loader::Count(static_cast<size_t>(totals.documents), "document") << ", "
                  << Bytes(totals.bytes) << "; the setting cacheLimit "
                  << (limit ? "allows " + Bytes(*limit) : kNotKnown) << ".\nThe index takes "
                  << Bytes(file ? file->st_size : 0) << " (" << core::SZF_CACHE_DB_PATH << ").\n";
    }
    return result;
}

// The real paths of the named documents; with -r also of those below them that exist, or that the
// index still lists.
std::set<std::string> CacheCommand::DocumentsToClean() const {
    loader::CacheIndex index("cannot clean the cache");
    std::set<std::string> realPaths;
    for (const loader::Document& document : Documents()) {
        if (!_recursive || !IsFolder(document)) {
            realPaths.insert(document.realPath);
        }
        if (!_recursive) {
            continue;
        }
        for (const loader::IndexedStream& stream : index.Streams(document.realPath)) {
            realPaths.insert(stream.target);
        }
        for (const std::string& sharePath : ContentsOf(document).documents) {
            realPaths.insert(loader::Resolve(sharePath, _user).realPath);
        }
    }
    return realPaths;
}

CommandResult CacheCommand::Clean() const {
    const auto cache = loader::OpenCache("cannot clean the cache");
    size_t documents = 0;
    size_t products = 0;
    for (const std::string& realPath : DocumentsToClean()) {
        const loader::Document document = AtRealPath(realPath);
        const size_t removed = loader::KeptProducts(document).RemoveAll(*cache);
        products += removed;
        documents += removed == 0 ? 0U : 1U;
    }
    CommandResult result{ExitCode::kDone};
    result.json["documents"] = Json::UInt64{documents};
    result.json["products"] = Json::UInt64{products};
    if (!Json()) {
        std::cout << loader::Count(products, "product") << " of "
                  << loader::Count(documents, "document") << " removed\n";
    }
    return result;
}

CommandResult CacheCommand::Remove() const {
    if (!_pdf && !_thumbnail) {
        throw Failure({ExitCode::kUsage,
                       "cannot remove anything",
                       "neither --pdf nor --thumbnail is given",
                       "Add --pdf, --thumbnail or both.",
                       {}});
    }
    const auto cache = loader::OpenCache("cannot remove from the cache");
    size_t products = 0;
    for (const loader::Document& document : Documents()) {
        const loader::KeptProducts kept(document);
        products += _pdf && kept.Remove(core::SZK_THUMB_PDF_TYPE, *cache) ? 1U : 0U;
        products += _thumbnail && kept.Remove(core::SZK_THUMB_TYPE, *cache) ? 1U : 0U;
    }
    CommandResult result{ExitCode::kDone};
    result.json["products"] = Json::UInt64{products};
    if (!Json()) {
        std::cout << loader::Count(products, "product") << " removed\n";
    }
    return result;
}

CommandResult CacheCommand::Collect() const {
    const std::string what = "cannot reduce the cache";
    loader::CacheIndex index(what);
    const loader::CacheTotals before = index.Totals();
    const auto limit = _limit ? _limit : AdministratorsLimit();
    if (!limit) {
        throw Failure({ExitCode::kSettings,
                       what,
                       std::string("the setting cacheLimit ") + kNotKnown,
                       "Correct it, or give a limit: vellumo cache collect --limit BYTES",
                       {}});
    }
    loader::CollectDownTo(*limit, what);
    index.Compact();
    const loader::CacheTotals after = index.Totals();
    CommandResult result{ExitCode::kDone};
    result.json["limit"] = Json::Int64{*limit};
    result.json["before"] = ToJson(before);
    result.json["after"] = ToJson(after);
    if (!Json()) {
        std::cout << loader::Count(static_cast<size_t>(before.streams - after.streams), "PDF")
                  << " removed, " << Bytes(before.bytes - after.bytes) << "; " << Bytes(after.bytes)
                  << " stay.\n";
    }
    return result;
}

CommandResult CacheCommand::Sweep() const {
    SweepView view(_dryRun, Json());
    loader::Sweep(_dryRun, _age, view);
    loader::SweepFailures(_dryRun, view);
    return view.Result();
}

}  // namespace vellumo::cli
