// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

#include <osl/file.hxx>

#include <com/sun/star/awt/XToolkitExperimental.hpp>
#include <com/sun/star/beans/PropertyValue.hpp>
#include <com/sun/star/beans/XPropertySet.hpp>
#include <com/sun/star/frame/Desktop.hpp>
#include <com/sun/star/frame/XStorable.hpp>
#include <com/sun/star/lang/XServiceInfo.hpp>
#include <com/sun/star/sheet/XSpreadsheet.hpp>
#include <com/sun/star/sheet/XSpreadsheetDocument.hpp>
#include <com/sun/star/style/XStyleFamiliesSupplier.hpp>
#include <com/sun/star/text/XDocumentIndexesSupplier.hpp>
#include <com/sun/star/util/XCloseable.hpp>
#include <com/sun/star/util/XRefreshable.hpp>
#include <set>

#include "Failure.h"
#include "Statuses.h"

namespace vellumo::office {
namespace {

namespace awt = com::sun::star::awt;
namespace beans = com::sun::star::beans;
namespace container = com::sun::star::container;
namespace frame = com::sun::star::frame;
namespace lang = com::sun::star::lang;
namespace sheet = com::sun::star::sheet;
namespace style = com::sun::star::style;
namespace text = com::sun::star::text;
namespace uno = com::sun::star::uno;
namespace util = com::sun::star::util;

using Document = uno::Reference<lang::XComponent>;
using Properties = uno::Sequence<beans::PropertyValue>;

struct ExportFilter {
    const char* service;
    const char* filter;
};

// The first service that a document supports decides.
constexpr ExportFilter kExportFilters[] = {
    {"com.sun.star.text.WebDocument", "writer_web_pdf_Export"},
    {"com.sun.star.text.GlobalDocument", "writer_globaldocument_pdf_Export"},
    {"com.sun.star.text.TextDocument", "writer_pdf_Export"},
    {"com.sun.star.sheet.SpreadsheetDocument", "calc_pdf_Export"},
    {"com.sun.star.presentation.PresentationDocument", "impress_pdf_Export"},
    {"com.sun.star.drawing.DrawingDocument", "draw_pdf_Export"},
    {"com.sun.star.formula.FormulaProperties", "math_pdf_Export"}};

rtl::OUString Text(const std::string& text) {
    return {text.data(), static_cast<sal_Int32>(text.size()), RTL_TEXTENCODING_UTF8};
}

std::string Utf8(const rtl::OUString& text) {
    return rtl::OUStringToOString(text, RTL_TEXTENCODING_UTF8).getStr();
}

rtl::OUString UrlOf(const std::string& path) {
    rtl::OUString url;
    osl::FileBase::getFileURLFromSystemPath(Text(path), url);
    return url;
}

Properties Of(std::initializer_list<beans::PropertyValue> list) {
    return {list.begin(), static_cast<sal_Int32>(list.size())};
}

beans::PropertyValue Property(const char* name, const uno::Any& value) {
    beans::PropertyValue property;
    property.Name = rtl::OUString::createFromAscii(name);
    property.Value = value;
    return property;
}

Properties LoadOptions() {
    // NEVER_EXECUTE macros, NO_UPDATE of links: 0 is the strictest value of both.
    return Of({Property("Hidden", uno::Any(true)), Property("ReadOnly", uno::Any(true)),
               Property("MacroExecutionMode", uno::Any(sal_Int16(0))),
               Property("UpdateDocMode", uno::Any(sal_Int16(0)))});
}

// An open document, which is closed at the end unless `endsSoon` tells that it is not worth it.
class OpenDocument {
public:
    OpenDocument(const Context& context, const std::string& source, bool endsSoon = false)
        : _document(frame::Desktop::create(context)->loadComponentFromURL(UrlOf(source), "_blank",
                                                                          0, LoadOptions())),
          _endsSoon(endsSoon) {
        if (!_document.is()) {
            throw Failure(kLoadFailed, "could not be loaded");
        }
    }
    ~OpenDocument() {
        if (!_endsSoon) {
            Close();
        }
    }
    OpenDocument(const OpenDocument&) = delete;
    OpenDocument& operator=(const OpenDocument&) = delete;

    const Document& Get() const { return _document; }

private:
    void Close() const {
        try {
            const uno::Reference<util::XCloseable> closeable(_document, uno::UNO_QUERY);
            if (closeable.is()) {
                closeable->close(true);
            }
        } catch (const uno::Exception&) {
            // The process that has opened it ends soon.
        }
    }

    Document _document;
    bool _endsSoon;
};

// Does what the office's main loop does beside unoconv, which drives the office from outside: the
// rest of a web page is read then.
void ProcessEvents(const Context& context) {
    uno::Reference<awt::XToolkitExperimental>(
        context->getServiceManager()->createInstanceWithContext("com.sun.star.awt.Toolkit",
                                                                context),
        uno::UNO_QUERY_THROW)
        ->processEventsToIdle();
}

// Updates them twice: a table of contents that grows moves the pages that it refers to.
void UpdateIndexes(const Document& document) {
    const uno::Reference<text::XDocumentIndexesSupplier> supplier(document, uno::UNO_QUERY);
    if (!supplier.is() || supplier->getDocumentIndexes()->getCount() == 0) {
        return;
    }
    const uno::Reference<container::XIndexAccess> indexes = supplier->getDocumentIndexes();
    for (int time = 0; time < 2; ++time) {
        uno::Reference<util::XRefreshable>(document, uno::UNO_QUERY_THROW)->refresh();
        for (sal_Int32 i = 0; i < indexes->getCount(); ++i) {
            uno::Reference<util::XRefreshable>(indexes->getByIndex(i), uno::UNO_QUERY_THROW)
                ->refresh();
        }
    }
}

void HideTrackedChanges(const Document& document) {
    const uno::Reference<beans::XPropertySet> properties(document, uno::UNO_QUERY);
    if (properties.is() && properties->getPropertySetInfo()->hasPropertyByName("ShowChanges")) {
        properties->setPropertyValue("ShowChanges", uno::Any(false));
    }
}

std::set<rtl::OUString> PageStylesOf(const uno::Reference<sheet::XSpreadsheetDocument>& document) {
    const uno::Reference<container::XIndexAccess> sheets(document->getSheets(),
                                                         uno::UNO_QUERY_THROW);
    std::set<rtl::OUString> names;
    for (sal_Int32 i = 0; i < sheets->getCount(); ++i) {
        const uno::Reference<beans::XPropertySet> one(sheets->getByIndex(i), uno::UNO_QUERY_THROW);
        rtl::OUString name;
        one->getPropertyValue("PageStyle") >>= name;
        names.insert(name);
    }
    return names;
}

void FitSheetsToPageWidth(const Document& document) {
    const uno::Reference<sheet::XSpreadsheetDocument> sheets(document, uno::UNO_QUERY);
    if (!sheets.is()) {
        return;
    }
    const uno::Reference<container::XNameAccess> styles(
        uno::Reference<style::XStyleFamiliesSupplier>(document, uno::UNO_QUERY_THROW)
            ->getStyleFamilies()
            ->getByName("PageStyles"),
        uno::UNO_QUERY_THROW);
    for (const rtl::OUString& name : PageStylesOf(sheets)) {
        const uno::Reference<beans::XPropertySet> page(styles->getByName(name),
                                                       uno::UNO_QUERY_THROW);
        page->setPropertyValue("ScaleToPagesY", uno::Any(sal_Int16(0)));  // as many as necessary
        page->setPropertyValue("ScaleToPagesX", uno::Any(sal_Int16(1)));
    }
}

rtl::OUString FilterFor(const Document& document) {
    const uno::Reference<lang::XServiceInfo> info(document, uno::UNO_QUERY_THROW);
    for (const ExportFilter& filter : kExportFilters) {
        if (info->supportsService(rtl::OUString::createFromAscii(filter.service))) {
            return rtl::OUString::createFromAscii(filter.filter);
        }
    }
    throw Failure(kOfficeFailed, "there is no PDF of this kind of document");
}

void Store(const Document& document, const std::string& target, const std::string& pages) {
    Properties data;
    if (!pages.empty()) {
        data = Of({Property("PageRange", uno::Any(Text(pages)))});
    }
    uno::Reference<frame::XStorable>(document, uno::UNO_QUERY_THROW)
        ->storeToURL(UrlOf(target), Of({Property("FilterName", uno::Any(FilterFor(document))),
                                        Property("FilterData", uno::Any(data))}));
}

}  // namespace

void Convert(const Context& context, const Conversion& conversion) {
    int status = kLoadFailed;
    try {
        const OpenDocument document(context, conversion.source, conversion.endsSoon);
        status = kOfficeFailed;
        if (conversion.refresh) {
            ProcessEvents(context);
            UpdateIndexes(document.Get());
            HideTrackedChanges(document.Get());
        }
        if (conversion.fit) {
            FitSheetsToPageWidth(document.Get());
        }
        Store(document.Get(), conversion.target, conversion.pages);
    } catch (const uno::Exception& error) {
        throw Failure(status, Utf8(error.Message));
    }
}

void Save(const Context& context, const std::string& source, const std::string& folder,
          const std::vector<SavedAs>& forms) {
    try {
        const OpenDocument document(context, source);
        const uno::Reference<frame::XStorable> storable(document.Get(), uno::UNO_QUERY_THROW);
        for (const SavedAs& form : forms) {
            storable->storeToURL(UrlOf(folder + '/' + form.name),
                                 Of({Property("FilterName", uno::Any(Text(form.filter)))}));
        }
    } catch (const uno::Exception& error) {
        throw Failure(kOfficeFailed, source + ": " + Utf8(error.Message));
    }
}

void Load(const Context& context, const std::string& source) {
    try {
        const OpenDocument document(context, source);
    } catch (const uno::Exception& error) {
        throw Failure(kLoadFailed, source + ": " + Utf8(error.Message));
    }
}

}  // namespace vellumo::office
