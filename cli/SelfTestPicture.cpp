#include "cli/SelfTestPicture.h"

#include "engine/image/IFD.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

namespace nullprint {
namespace {

using image::FieldType;

constexpr JDIMENSION side = 8;

struct PlantedField {
    std::uint16_t tag;
    FieldType type;
    std::uint32_t count;
    std::uint32_t value; // Or where it stands.
};

void appendField(Bytes& out, const PlantedField& field)
{
    append16(out, field.tag, ByteOrder::big);
    append16(out, static_cast<std::uint16_t>(field.type), ByteOrder::big);
    append32(out, field.count, ByteOrder::big);
    append32(out, field.value, ByteOrder::big);
}

void appendDegrees(Bytes& out, std::uint32_t degrees)
{
    for (const std::uint32_t part : {degrees, 0U, 0U}) {
        append32(out, part, ByteOrder::big);
        append32(out, 1, ByteOrder::big);
    }
}

// Offsets count from the "MM": first directory at 8, GPS directory at 50, values from 80 on.
Bytes plantedEXIF()
{
    constexpr std::string_view make("TestCam\0", 8);
    constexpr std::string_view artist("Test Person\0", 12);
    Bytes out;
    append(out, std::string_view("Exif\0\0MM\0*\0\0\0\x08", 14));
    append16(out, 3, ByteOrder::big);
    appendField(out, {image::tag::make, FieldType::ascii, make.size(), 80});
    appendField(out, {image::tag::artist, FieldType::ascii, artist.size(), 88});
    appendField(out, {image::tag::gpsIFD, FieldType::unsigned32, 1, 50});
    append32(out, 0, ByteOrder::big);
    append16(out, 2, ByteOrder::big);
    appendField(out, {image::tag::gpsLatitude, FieldType::rational, 3, 100});
    appendField(out, {image::tag::gpsLongitude, FieldType::rational, 3, 124});
    append32(out, 0, ByteOrder::big);
    append(out, make);
    append(out, artist);
    appendDegrees(out, 41);
    appendDegrees(out, 29);
    return out;
}

struct Encoder {
    jpeg_compress_struct state{};
    jpeg_error_mgr errors{};
    std::jmp_buf escape{};
    unsigned char* output = nullptr;
    unsigned long length = 0;
};

// The library ends the process on an error unless it is told otherwise.
[[noreturn]] void leaveEncoder(j_common_ptr state)
{
    std::longjmp(static_cast<Encoder*>(state->client_data)->escape, 1);
}

void encode(Encoder& encoder, ByteSpan exif)
{
    jpeg_compress_struct& state = encoder.state;
    state.image_width = side;
    state.image_height = side;
    state.input_components = 3;
    state.in_color_space = JCS_RGB;
    jpeg_set_defaults(&state);
    jpeg_start_compress(&state, TRUE);
    jpeg_write_marker(&state, JPEG_APP0 + 1, exif.data(), static_cast<unsigned>(exif.size()));
    std::array<JSAMPLE, 3UL * side> black{};
    JSAMPROW row = black.data();
    while (state.next_scanline < state.image_height)
        jpeg_write_scanlines(&state, &row, 1);
    jpeg_finish_compress(&state);
}

} // namespace

Bytes selfTestPicture()
{
    const Bytes exif = plantedEXIF();
    Bytes picture;
    Encoder encoder;
    encoder.state.err = jpeg_std_error(&encoder.errors);
    encoder.errors.error_exit = leaveEncoder;
    encoder.state.client_data = &encoder;
    // Nothing that needs a destructor is made between here and the end of encode().
    if (setjmp(encoder.escape) == 0) {
        jpeg_create_compress(&encoder.state);
        encoder.state.client_data = &encoder;
        jpeg_mem_dest(&encoder.state, &encoder.output, &encoder.length);
        encode(encoder, exif);
        append(picture, ByteSpan(encoder.output, encoder.length));
    }
    jpeg_destroy_compress(&encoder.state);
    std::free(encoder.output);
    return picture;
}

} // namespace nullprint
