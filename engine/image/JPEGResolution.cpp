// Clauses are those of JPEG.cpp.
#include "engine/image/JPEGResolution.h"

#include <cmath>

namespace nullprint::image {
namespace {

constexpr std::uint16_t unitless = 1; // TIFF 6.0, ResolutionUnit: only the proportion counts.

// A JFIF block says that the samples have eight bits and that three components are YCbCr (JFIF
// 6.1). It can be added where every decoder takes them for that without it.
bool canBecomeJFIF(const JPEGFacts& facts)
{
    const bool isOrdinary = facts.frameMarker <= 0xC2 || facts.frameMarker == 0xC9 ||
                            facts.frameMarker == 0xCA; // DCT, sequential or progressive
    if (!isOrdinary || facts.isHierarchical || facts.precision != 8)
        return false;
    if (facts.components == 3)
        return facts.transform ? *facts.transform == 1 : facts.hasUsualNames;
    return facts.components == 1;
}

bool fitsJFIF(const Resolution& resolution)
{
    const auto fits = [](double density) {
        return density >= 1 && density <= 65535 && density == std::floor(density);
    };
    return fits(resolution.x) && fits(resolution.y);
}

Bytes densityOf(const Resolution& resolution)
{
    constexpr std::array<Byte, 4> units{0, 0, 1, 2}; // TIFF's none, inch, centimetre.
    Bytes density{units.at(resolution.unit)};
    append16(density, static_cast<std::uint16_t>(std::lround(resolution.x)), ByteOrder::big);
    append16(density, static_cast<std::uint16_t>(std::lround(resolution.y)), ByteOrder::big);
    return density;
}

void writeJFIF(OutputPlan& plan, ByteSpan density)
{
    Bytes payload;
    append(payload, std::string_view("JFIF\0\x01\x01", 7));
    append(payload, density);
    append(payload, std::string_view("\0\0", 2)); // No thumbnail.
    writeSegment(plan, 0xE0, payload);
}

void writeEXIF(OutputPlan& plan, ByteSpan structure)
{
    Bytes payload;
    append(payload, exifMark);
    append(payload, structure);
    writeSegment(plan, 0xE1, payload);
}

// Whether a JFIF density says nothing that Exif's resolution could contradict: it has no unit, or
// no value, and pixels are square.
bool isEmptyDensity(ByteSpan density)
{
    const bool hasUnit = density[0] != 0;
    const bool hasValues = (density[1] | density[2]) != 0 && (density[3] | density[4]) != 0;
    const bool isSquare = density[1] == density[3] && density[2] == density[4];
    return !hasValues || (!hasUnit && isSquare);
}

} // namespace

void writeSegment(OutputPlan& plan, Byte code, ByteSpan payload)
{
    Bytes head{0xFF, code};
    append16(head, static_cast<std::uint16_t>(payload.size() + 2), ByteOrder::big);
    plan.write(head);
    plan.write(payload);
}

Result<Done> planFreshSegments(ByteSource& source,
                               const Properties& properties,
                               const JPEGFacts& facts,
                               OutputPlan& plan)
{
    std::optional<Resolution> resolution = storedResolution(properties);
    Bytes density;
    if (facts.density)
        density = NP_TRY(source.copyOf(*facts.density));
    if (resolution && fitsJFIF(*resolution)) {
        const Bytes wanted = densityOf(*resolution);
        const bool moves = facts.density ? isEmptyDensity(density) && resolution->unit != unitless
                                         : canBecomeJFIF(facts);
        if (moves)
            density = wanted;
        if (density == wanted)
            resolution.reset();
    }
    if (!density.empty())
        writeJFIF(plan, density);
    const auto orientation = turnedOrientation(properties);
    if (orientation || resolution)
        writeEXIF(plan, freshEXIF(orientation, resolution));
    return Done{};
}

} // namespace nullprint::image
