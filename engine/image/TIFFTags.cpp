#include "engine/image/TIFFTags.h"

#include <algorithm>

namespace nullprint::image {
namespace {

using enum BlockKind;

// In ascending order. Rows with a form and an amount are kept; `planTIFF` writes the places of
// strips, tiles and tables itself. Rows without are here to be told by their kind.
constexpr std::array tagRows{
    TagRow{254, structure, Form::integers, Amount::one},                   // NewSubfileType, 8
    TagRow{255, structure, Form::integers, Amount::one},                   // SubfileType, 8
    TagRow{256, structure, Form::integers, Amount::one, true},             // ImageWidth, 3
    TagRow{257, structure, Form::integers, Amount::one, true},             // ImageLength, 3
    TagRow{258, structure, Form::integers, Amount::perSample, true},       // BitsPerSample, 4
    TagRow{259, structure, Form::integers, Amount::one, true},             // Compression, 3
    TagRow{262, structure, Form::integers, Amount::one, true},             // Photometric..., 3
    TagRow{266, structure, Form::integers, Amount::one, true},             // FillOrder, 8
    TagRow{269, text},                                                     // DocumentName, 12
    TagRow{270, text},                                                     // ImageDescription, 8
    TagRow{271, text},                                                     // Make, 8
    TagRow{272, text},                                                     // Model, 8
    TagRow{273, structure},                                                // StripOffsets, 3
    TagRow{274, orientation, Form::integers, Amount::one},                 // Orientation, 8
    TagRow{277, structure, Form::integers, Amount::one, true},             // SamplesPerPixel, 6
    TagRow{278, structure, Form::integers, Amount::one, true},             // RowsPerStrip, 3
    TagRow{279, structure},                                                // StripByteCounts, 3
    TagRow{280, display},                                                  // MinSampleValue, 8
    TagRow{281, display},                                                  // MaxSampleValue, 8
    TagRow{282, resolution, Form::numbers, Amount::one},                   // XResolution, 3
    TagRow{283, resolution, Form::numbers, Amount::one},                   // YResolution, 3
    TagRow{284, structure, Form::integers, Amount::one, true},             // PlanarConfiguration, 8
    TagRow{285, text},                                                     // PageName, 12
    TagRow{286, resolution, Form::numbers, Amount::one},                   // XPosition, 12
    TagRow{287, resolution, Form::numbers, Amount::one},                   // YPosition, 12
    TagRow{290, display},                                                  // GrayResponseUnit, 8
    TagRow{291, display},                                                  // GrayResponseCurve, 8
    TagRow{292, codingTables, Form::integers, Amount::one, true},          // T4Options, 11
    TagRow{293, codingTables, Form::integers, Amount::one, true},          // T6Options, 11
    TagRow{296, resolution, Form::integers, Amount::one},                  // ResolutionUnit, 3
    TagRow{297, structure, Form::integers, Amount::two},                   // PageNumber, 12
    TagRow{301, colourProfile, Form::integers, Amount::transfer},          // TransferFunction, 20
    TagRow{305, text},                                                     // Software, 8
    TagRow{306, time},                                                     // DateTime, 8
    TagRow{315, text},                                                     // Artist, 8
    TagRow{316, text},                                                     // HostComputer, 8
    TagRow{317, codingTables, Form::integers, Amount::one, true},          // Predictor, 14
    TagRow{318, colourProfile, Form::numbers, Amount::two},                // WhitePoint, 20
    TagRow{319, colourProfile, Form::numbers, Amount::six},                // PrimaryChroma..., 20
    TagRow{320, palette, Form::integers, Amount::colourMap},               // ColorMap, 5
    TagRow{321, display},                                                  // HalftoneHints, 17
    TagRow{322, structure, Form::integers, Amount::one, true},             // TileWidth, 15
    TagRow{323, structure, Form::integers, Amount::one, true},             // TileLength, 15
    TagRow{324, structure},                                                // TileOffsets, 15
    TagRow{325, structure},                                                // TileByteCounts, 15
    TagRow{330, extraImage},                                               // SubIFDs, Tech Note 1
    TagRow{332, structure, Form::integers, Amount::one, true},             // InkSet, 16
    TagRow{333, text},                                                     // InkNames, 16
    TagRow{334, structure, Form::integers, Amount::one},                   // NumberOfInks, 16
    TagRow{336, structure, Form::integers, Amount::twicePerSample},        // DotRange, 16
    TagRow{337, text},                                                     // TargetPrinter, 16
    TagRow{338, transparency, Form::integers, Amount::perSample, true},    // ExtraSamples, 18
    TagRow{339, structure, Form::integers, Amount::perSample, true},       // SampleFormat, 19
    TagRow{340, structure, Form::numbers, Amount::perSample},              // SMinSampleValue, 19
    TagRow{341, structure, Form::numbers, Amount::perSample},              // SMaxSampleValue, 19
    TagRow{343, extraImage},                                               // ClipPath, Tech Note 2
    TagRow{346, structure, Form::integers, Amount::one},                   // Indexed, Tech Note 2
    TagRow{347, codingTables, Form::opaque, Amount::any, true, Use::jpeg}, // JPEGTables, TN 2 draft
    TagRow{512, codingTables, Form::integers, Amount::one, true, Use::oldJPEG}, // JPEGProc, 22
    TagRow{513, structure}, // JPEGInterchangeFormat, 22
    TagRow{514, structure}, // JPEGInterchangeFormatLength, 22
    TagRow{515, codingTables, Form::integers, Amount::one, true, Use::oldJPEG}, // JPEGRestart...,
                                                                                // 22
    TagRow{517, codingTables, Form::integers, Amount::perSample, true, Use::oldJPEG}, // Predictors
    TagRow{518,
           codingTables,
           Form::integers,
           Amount::perSample,
           true,
           Use::oldJPEG},                                            // PointTransf.
    TagRow{519, structure},                                          // JPEGQTables, 22
    TagRow{520, structure},                                          // JPEGDCTables, 22
    TagRow{521, structure},                                          // JPEGACTables, 22
    TagRow{529, colourTransform, Form::numbers, Amount::three},      // YCbCrCoefficients, 21
    TagRow{530, colourTransform, Form::integers, Amount::two, true}, // YCbCrSubSampling, 21
    TagRow{531, colourTransform, Form::integers, Amount::one},       // YCbCrPositioning, 21
    TagRow{532, colourTransform, Form::numbers, Amount::six},        // ReferenceBlackWhite, 20
    TagRow{700, xmp},                                                // XMP, ISO 16684-3
    TagRow{32995, transparency, Form::integers, Amount::one, true},  // Matteing, before 338
    TagRow{32996, structure, Form::integers, Amount::one, true},     // DataType, before 339
    TagRow{32997, structure, Form::integers, Amount::one, true},     // ImageDepth, volumes
    TagRow{32998, structure, Form::integers, Amount::one, true},     // TileDepth, volumes
    TagRow{33432, text},                                             // Copyright, 8
    TagRow{33723, iptc},                                             // IIM datasets
    TagRow{34377, iptc},                                             // Photoshop resources
    TagRow{34665, exif},                                             // Exif IFD, Exif 4.6.3
    TagRow{34675, colourProfile, Form::opaque, Amount::profile},     // ICC profile, ICC.1 B.3
    TagRow{34853, exif},                                             // GPS IFD, Exif 4.6.3
    TagRow{37724, extraImage},                                       // ImageSourceData: layers
    TagRow{40965, exif},                                             // Interoperability IFD, Exif
    TagRow{50674, codingTables, Form::integers, Amount::two, true},  // LercParameters
};

static_assert(std::ranges::is_sorted(tagRows, std::ranges::less_equal(), &TagRow::tag));

} // namespace

const TagRow* rowOf(std::uint16_t tag)
{
    const auto* row = std::ranges::lower_bound(tagRows, tag, {}, &TagRow::tag);
    return row != tagRows.end() && row->tag == tag ? row : nullptr;
}

BlockKind kindOfTag(std::uint16_t tag)
{
    const TagRow* row = rowOf(tag);
    return row != nullptr ? row->kind : BlockKind::unknown;
}

} // namespace nullprint::image
