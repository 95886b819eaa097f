// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_H
#define VELLUMO_CONVERTER_H

#include <json/value.h>

#include <set>
#include <string>
#include <vector>

#include "ContainerPoolManager.h"
#include "Export.h"
#include "Path.h"

namespace NAVO::VELLUMO::converter {

// One conversion of one file by one command-line tool in a container. Create an object on the
// stack; it cannot be deleted through its base. It runs one Convert at a time, in one thread.
class VELLUMO_API ConverterBase {
public:
    // `priority`: the command's priority in the container pool. Sets no option, creates no file.
    explicit ConverterBase(ContainerPoolManager::Priority priority);
    ConverterBase(const ConverterBase&) = delete;
    ConverterBase& operator=(const ConverterBase&) = delete;

    // Converts the file `src` to `targetType` ("pdf", "png", "jpg"): puts a link to it or a copy of
    // it into the scratch source directory, runs the tool through the container pool and checks the
    // product. Never changes the document itself.
    //
    // On success returns 1000 and sets "realPath" of `dst` to the product in the scratch target
    // directory; the caller moves or deletes that file. Otherwise leaves `dst` untouched and no
    // scratch file behind, and returns
    //   1001  when the tool reached its time limit,
    //   1002  when the tool could not be started or left no product larger than 10 bytes,
    //   1003  when the conversion could not be prepared, or the same command is both waiting and
    //         running already.
    // The system log tells the reasons. Blocks until a container is free and the tool has ended.
    virtual int Convert(const std::string& targetType, const path::Path& src, path::Path& dst);

    // Whether the product must have the scratch source's base name because the tool names its
    // output after its input.
    virtual bool IsNeedSameFolder();

    // Replaces the content of `argv` with the tool and its arguments. Paths are those inside a
    // container.
    virtual void GetCommand(std::vector<std::string>& argv) = 0;

    // The command's priority in the container pool.
    ContainerPoolManager::Priority _priority;

    // Set by the caller before Convert. "PageRange" (text in the tool's own syntax, such as "1-1")
    // is the only member that Convert reads.
    Json::Value _options;

    path::Path _tmpSrcPath;  // the link or copy in the scratch source directory
    path::Path _tmpTgtPath;  // the product in the scratch target directory

protected:
    ~ConverterBase();
};

// Converts whole office documents, presentations and drawings with soffice.
class VELLUMO_API LibreOfficeConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    bool IsNeedSameFolder() override;
    void GetCommand(std::vector<std::string>& argv) override;

    // The file types that it converts: lower-case extensions without the dot. Never changes.
    static std::set<std::string> _supportTypeSet;
};

// Converts the same types with unoconv: the whole document, or the pages of "PageRange".
class VELLUMO_API UnoconvConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    // The file types that it converts: lower-case extensions without the dot. Never changes.
    static std::set<std::string> _supportTypeSet;
};

// Converts spreadsheets with unoconv, each sheet as wide as a page: the whole document, or the
// pages of "PageRange".
class VELLUMO_API UnoconvSpreadSheetConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    // The file types that it converts: lower-case extensions without the dot. Never changes.
    static std::set<std::string> _supportTypeSet;
};

// Cuts the pages of "PageRange" out of a PDF with pdftk; takes all pages without one.
class VELLUMO_API PdftkConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    // The file types that it converts: lower-case extensions without the dot. Never changes.
    static std::set<std::string> _supportTypeSet;
};

// Makes a picture of a PDF page with ImageMagick.
class VELLUMO_API ImageMagickConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    // The file types that it converts: lower-case extensions without the dot. Never changes.
    static std::set<std::string> _supportTypeSet;
};

// Converts whole e-books with calibre.
class VELLUMO_API CalibreConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    // The file types that it converts: lower-case extensions without the dot. Never changes.
    static std::set<std::string> _supportTypeSet;
};

// Extracts the cover picture of an e-book with calibre.
class VELLUMO_API CalibreThumbnailConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    // The file types that it converts: lower-case extensions without the dot. Never changes.
    static std::set<std::string> _supportTypeSet;
};

// Converts `source` to PDF with the converter for its file type. Checks no permission and does not
// use the cache.
//
// `pageRange`: null converts the whole document at high priority. A text, also an empty one,
// converts those pages ("1-1") at low priority; of an e-book it then extracts the cover, as "jpg".
// Sets `output` as ConverterBase::Convert sets its `dst`, and returns what Convert returns. For a
// file without a type, or of a type that no converter takes, returns 1003 with a message in the
// system log. Blocks as Convert does.
VELLUMO_API int ToPDF(const path::Path& source, path::Path& output, const char* pageRange);

// Converts the whole of `source` to PDF and stores the PDF in the cache, as the document's stream
// SZK_THUMB_PDF_TYPE (CacheManager.h). Does not look into the cache first: callers do that.
//
// Returns what ToPDF returns. A PDF that cannot be stored is logged and does not change the result.
// Leaves nothing in the scratch directories.
// One process at a time converts a document; a mark in "runningFiles" of the state file shows that
// it does. A process that finds the mark waits until it is gone and then returns 1000, whatever the
// result of the other's conversion. That wait has no time limit.
VELLUMO_API int ToPDFCache(const path::Path& source);

// Does what ToPDFCache does, under the same mark and with the same results and messages, but leaves
// the cache as large as it gets: it neither removes other documents' PDFs nor compacts the index.
// So its cost does not grow with the number of documents in the cache. For programs that convert
// many documents; they keep the cache within a limit by calling CacheManager::GarbageCollect, or
// CacheManager::Remove, once in a while. Both functions may convert the same document at once, in
// different processes: one converts, the other waits.
VELLUMO_API int ToPDFCacheWithoutCollection(const path::Path& source);

// Makes a PNG thumbnail of the first page of `source` and stores it as the document's stream
// SZK_THUMB_TYPE. Uses the cached PDF if there is one, whatever its age. The cache's index does not
// list the thumbnail: compare the files' times to see whether it is older than its document.
//
// Returns 1000 when the thumbnail is made and, at once, when another process is making it; 1003
// when its place cannot be written to; otherwise the code of the conversion that failed. A failed
// attempt leaves no thumbnail; it leaves an empty file with the thumbnail's name and ".err.0063"
// appended, which stays until a later attempt succeeds. Leaves nothing in the scratch directories.
// A mark in "runningFiles" of the state file shows that a process is making the thumbnail. Blocks
// until the conversions have ended.
VELLUMO_API int ToThumbnail(const path::Path& source);

}  // namespace NAVO::VELLUMO::converter

#endif
