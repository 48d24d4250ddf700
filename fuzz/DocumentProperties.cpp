#include "fuzz/DocumentProperties.h"

#include "engine/pdf/worker/Work.h"
#include "fuzz/Require.h"
#include "fuzz/StrictSource.h"

namespace nullprint::fuzz {
namespace {

using pdf::Outcome;

Outcome clean(ByteSpan bytes, MemorySink& copy)
{
    StrictSource source(bytes);
    return pdf::Work(source).writeClean(copy);
}

pdf::DocumentFacts mustDescribe(ByteSpan bytes)
{
    StrictSource source(bytes);
    pdf::DocumentFacts facts;
    require(pdf::Work(source).describe(facts) == Outcome::done, "what is cleaned can be opened");
    return facts;
}

} // namespace

void checkDocument(ByteSpan bytes)
{
    MemorySink copy;
    if (clean(bytes, copy) != Outcome::done)
        return;
    mustDescribe(bytes);
    const pdf::DocumentFacts facts = mustDescribe(copy.content);
    require(facts.attributes.empty(), "a copy has no information dictionary");
    require(facts.annotationTitles.empty(), "annotations in a copy have no authors");
    MemorySink again;
    require(clean(copy.content, again) == Outcome::done, "a copy can be cleaned");
}

} // namespace nullprint::fuzz
