#include "support/jpeg_builder.h"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <utility>

#include <jpeglib.h>

#include "support/asf_builder.h"
#include "support/mp3_builder.h"

TestPicture noise_picture(int width, int height, unsigned seed) {
    TestPicture picture = plain_picture(width, height);
    std::mt19937 random{seed};
    for (std::uint8_t& value : picture.rgb) value = static_cast<std::uint8_t>(random());
    return picture;
}

TestPicture plain_picture(int width, int height, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    TestPicture picture{.width = width, .height = height, .rgb = {}};
    for (int i = 0; i < width * height; ++i) picture.rgb.insert(picture.rgb.end(), {red, green, blue});
    return picture;
}

std::string jpeg_bytes(const TestPicture& picture, JpegKind kind) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &bytes, &size);
    info.image_width = static_cast<JDIMENSION>(picture.width);
    info.image_height = static_cast<JDIMENSION>(picture.height);
    info.in_color_space = kind == JpegKind::grey ? JCS_GRAYSCALE : JCS_RGB;
    info.input_components = kind == JpegKind::grey ? 1 : 3;
    jpeg_set_defaults(&info);
    if (kind == JpegKind::progressive) jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    for (int y = 0; y < picture.height; ++y) {
        std::vector<std::uint8_t> line;
        for (int x = 0; x < picture.width; ++x)
            line.insert(line.end(), picture.at(x, y), picture.at(x, y) + info.input_components);
        JSAMPROW row = line.data();
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::string out{reinterpret_cast<const char*>(bytes), size};
    std::free(bytes);
    return out;
}

TestPicture jpeg_pixels(std::string_view jpeg) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size());
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_RGB;
    jpeg_start_decompress(&info);
    TestPicture out = plain_picture(static_cast<int>(info.output_width), static_cast<int>(info.output_height));
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = out.rgb.data() + info.output_scanline * info.output_width * 3;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return out;
}

std::string jpeg_segment(unsigned marker, std::string_view body) {
    return big_endian_bytes(marker, 2) + big_endian_bytes(static_cast<std::uint32_t>(body.size() + 2), 2) +
           std::string{body};
}

std::string jpeg_head(const std::vector<std::string>& segments, int width, int height) {
    std::string out = "\xFF\xD8";
    for (const std::string& segment : segments) out += segment;
    return out + jpeg_segment(0xFFC0, "\x08" + big_endian_bytes(static_cast<std::uint32_t>(height), 2) +
                                          big_endian_bytes(static_cast<std::uint32_t>(width), 2) +
                                          std::string{"\x01\x01\x11\x00", 4});
}

// ---- EXIF

std::string ExifBlock::number(std::uint32_t value, std::size_t bytes) const {
    return little_endian_ ? little_endian_bytes(value, bytes) : big_endian_bytes(value, bytes);
}

ExifBlock& ExifBlock::text(Directory directory, unsigned tag, std::string_view value) {
    const auto count = static_cast<std::uint32_t>(value.size() + 1);
    directories_[directory].push_back({tag, kAscii, count, std::string{value} + '\0'});
    return *this;
}
ExifBlock& ExifBlock::raw(Directory directory, unsigned tag, Type type, std::uint32_t count, std::uint32_t value) {
    directories_[directory].push_back({tag, type, count, number(value, type == kShort ? 2 : 4)});
    return *this;
}

// Directory by directory, each followed by the values that do not fit into its entries. Where the later ones begin is
// known once the first is written, so all is written twice.
std::string ExifBlock::tiff() const {
    std::string out;
    std::uint32_t begins[3] = {};
    for (int pass = 0; pass < 2; ++pass) {
        out = (little_endian_ ? "II" : "MM") + number(42, 2) + number(8, 4);
        for (const Directory directory : {kIfd0, kExif, kIfd1}) {
            std::vector<Entry> entries = directories_[directory];
            if (entries.empty() && directory != kIfd0) continue;
            if (directory == kIfd0 && !directories_[kExif].empty())
                entries.push_back({34665, kLong, 1, number(begins[kExif], 4)});
            begins[directory] = static_cast<std::uint32_t>(out.size());
            std::string values;
            const std::size_t values_at = out.size() + 2 + 12 * entries.size() + 4;
            out += number(static_cast<std::uint32_t>(entries.size()), 2);
            for (Entry& entry : entries) {
                if (entry.value.size() > 4) {
                    values +=
                        std::exchange(entry.value, number(static_cast<std::uint32_t>(values_at + values.size()), 4));
                }
                entry.value.resize(4, '\0');
                out += number(entry.tag, 2) + number(entry.type, 2) + number(entry.count, 4) + entry.value;
            }
            out += number(directory == kIfd0 ? begins[kIfd1] : 0, 4) + values;
        }
    }
    return out;
}

std::string ExifBlock::segment() const {
    return jpeg_segment(0xFFE1, std::string{"Exif\0\0", 6} + tiff());
}
