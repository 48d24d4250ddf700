// What the worker does with a document. Nothing that the PDF library throws leaves this.
#pragma once

#include "engine/pdf/DocumentFacts.h"
#include "engine/pdf/Outcome.h"

#include <memory>

namespace nullprint::pdf {

class PDFFile;

class Work {
public:
    // `source` must outlive the work.
    explicit Work(ByteSource& source);
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;
    ~Work();

    Outcome describe(DocumentFacts& facts);
    // On failure the sink holds an unfinished document.
    Outcome writeClean(ByteSink& sink);

private:
    Outcome open();

    ByteSource& source;
    std::unique_ptr<PDFFile> file;
};

} // namespace nullprint::pdf
