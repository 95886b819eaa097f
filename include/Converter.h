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

// One conversion of one file by one command-line tool in a container. An object lives on its user's
// stack, serves one Convert at a time and is never deleted through its base; it belongs to one
// thread.
class VELLUMO_API ConverterBase {
public:
    // `priority` goes to the container pool with the command. Sets no option, makes no file.
    explicit ConverterBase(ContainerPoolManager::Priority priority);
    ConverterBase(const ConverterBase&) = delete;
    ConverterBase& operator=(const ConverterBase&) = delete;

    // Converts the file `src` to `targetType` ("pdf", "png", "jpg"): puts a link or copy of it into
    // the scratch source directory, runs the tool through the container pool (blocking until a slot
    // is free and the tool has ended) and checks the product.
    //
    // On success returns 1000 and sets "realPath" of `dst` to the product in the scratch target
    // directory; the caller moves or deletes that file. Otherwise `dst` is untouched and no scratch
    // file is left: 1001 the tool reached its time limit; 1002 it could not be started or left no
    // product larger than 10 bytes; 1003 the conversion could not be prepared, or the same command
    // is waiting and running already. Reasons are in the system log. The document itself is never
    // changed.
    virtual int Convert(const std::string& targetType, const path::Path& src, path::Path& dst);

    // Whether the product must carry the scratch source's base name, because the tool names its
    // output after its input.
    virtual bool IsNeedSameFolder();

    // Replaces the content of `argv` by the tool and its arguments, with paths as seen inside a
    // container.
    virtual void GetCommand(std::vector<std::string>& argv) = 0;

    ContainerPoolManager::Priority _priority;

    // Set by the caller before Convert; "PageRange" (text in the tool's own syntax, such as "1-1")
    // is the only member that is read.
    Json::Value _options;

    path::Path _tmpSrcPath;  // the scratch link or copy of the source
    path::Path _tmpTgtPath;  // the scratch product

protected:
    ~ConverterBase();
};

// Each converter's _supportTypeSet holds the file types (lower-case extensions without the dot)
// that it takes as source; it never changes.

// Office documents, presentations and drawings through soffice, whole.
class VELLUMO_API LibreOfficeConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    bool IsNeedSameFolder() override;
    void GetCommand(std::vector<std::string>& argv) override;

    static std::set<std::string> _supportTypeSet;
};

// The same types through unoconv, whole or by "PageRange".
class VELLUMO_API UnoconvConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    static std::set<std::string> _supportTypeSet;
};

// Spreadsheets through unoconv, each sheet as wide as a page, whole or by "PageRange".
class VELLUMO_API UnoconvSpreadSheetConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    static std::set<std::string> _supportTypeSet;
};

// Pages of a PDF by "PageRange"; all of them without one.
class VELLUMO_API PdftkConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    static std::set<std::string> _supportTypeSet;
};

// A picture of a PDF page.
class VELLUMO_API ImageMagickConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    static std::set<std::string> _supportTypeSet;
};

// E-books, whole.
class VELLUMO_API CalibreConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    static std::set<std::string> _supportTypeSet;
};

// The cover picture of an e-book.
class VELLUMO_API CalibreThumbnailConverter final : public ConverterBase {
public:
    using ConverterBase::ConverterBase;
    void GetCommand(std::vector<std::string>& argv) override;

    static std::set<std::string> _supportTypeSet;
};

// Turns `source` into a PDF with the converter that its file type asks for. Neither permissions nor
// the cache are looked at.
//
// `pageRange`: null converts the whole document at high priority. A text, also an empty one,
// converts those pages ("1-1") at low priority; an e-book then gives its cover as "jpg" instead.
// Returns what ConverterBase::Convert returns, or 1003 with a message in the system log for a file
// without a type or of a type that no converter takes. `output` as Convert's `dst`.
VELLUMO_API int ToPDF(const path::Path& source, path::Path& output, const char* pageRange);

// Converts the whole of `source` and keeps the PDF beside it, as the cache's stream
// SZK_THUMB_PDF_TYPE (CacheManager.h). The cache is not asked first: callers do that.
//
// One process at a time converts a document, marked in the state file's "runningFiles"; a process
// that finds the mark waits until it is gone, however long that takes, and returns 1000 whatever
// came of it. Otherwise returns what ToPDF returns; a PDF that could not be kept is logged and does
// not change that. Nothing stays in the scratch directories.
VELLUMO_API int ToPDFCache(const path::Path& source);

// Makes the PNG thumbnail of the first page of `source` and puts it beside it, as the stream
// SZK_THUMB_TYPE; from the cached PDF where there is one, whatever its age. The index of the cache
// does not list it: whether a thumbnail is still that of its document is told by the files' times.
//
// Returns 1000 when it is made, and at once when another process is making it; 1003 when the place
// for it cannot be written to; otherwise the code of the conversion that failed. A failed attempt
// leaves no thumbnail but an empty file beside it, named like it with ".err.0063" appended, until
// a later attempt succeeds. Nothing stays in the scratch directories.
VELLUMO_API int ToThumbnail(const path::Path& source);

}  // namespace NAVO::VELLUMO::converter

#endif
