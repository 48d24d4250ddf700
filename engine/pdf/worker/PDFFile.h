// A document that the PDF library has opened. Everything here throws what the library throws; the
// operations of Work.h are where it ends.
#pragma once

#include "engine/pdf/worker/Input.h"
#include "engine/support/ByteSink.h"

// The library's JSON.hh is left out. Clang 14 cannot compile it as C++20, and nothing here uses it.
// NOLINTNEXTLINE(readability-identifier-naming): the guard of that header.
#define JSON_HH
class JSON;
#include <qpdf/QPDF.hh>

namespace nullprint::pdf {

class PDFFile {
public:
    // Opens with no password, and makes sure that there is a tree of pages which can be walked.
    // `source` must outlive the file.
    explicit PDFFile(ByteSource& source);

    // Reads what pages are drawn by before anything else is read. Once an object is not where it
    // should be, the library makes up a new table of objects, which may have others for what has
    // not been read by then. A viewer, which only shows pages, may never come to that object.
    void readPages();

    // The annotations of all pages other than form fields, each once.
    std::vector<QPDFObjectHandle> annotations();

    // Writes what can be reached, streams as they are, every object by itself.
    void write(ByteSink& sink);

    ByteSource& source;
    QPDF document;

private:
    void findPages();
    bool keyNeedsIdentifier();

    std::vector<QPDFObjectHandle> pages;
};

// Whether a dictionary is a field of a form, as a page shows it.
bool isWidget(QPDFObjectHandle annotation);

} // namespace nullprint::pdf
