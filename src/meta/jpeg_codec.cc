// How it works
//
// The library keeps everything in a C struct and calls back for more input, for room for output, and for errors. An
// error must not return to the library, so jump_back() leaves it by a long jump. The rules that keep this safe:
//  - Every call that can fail is inside a step, a static function that guarded() calls. A jump ends in guarded().
//  - Steps and callbacks have no locals with destructors, since the jump would not run these. What has to be freed
//    belongs to the State or Encoder, which outlives the jump; its destructor frees the library's memory, too.
//  - No exception may leave a callback: append() turns it into a return value.
// The client data of the library's structs points to the ErrorExit, and from there callbacks find the State or Encoder.
#include "meta/jpeg_codec.h"

#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>  // jpeglib.h needs it
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>
#include "core/bytes.h"
#include "meta/file_window.h"
#include "meta/scale.h"

#include <jpeglib.h>

namespace {

// Where errors go. The library's own handler would print a message and end the process.
struct ErrorExit {
    jpeg_error_mgr manager{};
    std::jmp_buf back;
};

[[noreturn]] void jump_back(j_common_ptr info) {
    std::longjmp(static_cast<ErrorExit*>(info->client_data)->back, 1);
}

// Warnings are not passed on: the library has repaired what it could and goes on.
void ignore_message(j_common_ptr) {}
void ignore_warning(j_common_ptr, int) {}

jpeg_error_mgr* quiet_manager(ErrorExit& exit) {
    jpeg_std_error(&exit.manager);
    exit.manager.error_exit = jump_back;
    exit.manager.output_message = ignore_message;
    exit.manager.emit_message = ignore_warning;
    return &exit.manager;
}

// Runs a step that calls the library. False if it failed, that is, jumped back.
template <typename State>
bool guarded(State& state, void (*step)(State&)) {
    if (setjmp(state.back) != 0) return false;
    step(state);
    return true;
}

}  // namespace

// ---- decoding

struct JpegDecoder::State : ErrorExit {
    explicit State(FileWindow& picture) : file(picture) {}
    ~State() { jpeg_destroy_decompress(&info); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    // The library's struct is not usable after an error, so nothing is run after a first failure.
    bool run(void (*step)(State&)) {
        failed = failed || !guarded(*this, step);
        return !failed;
    }
    bool next_line(std::uint8_t* into) {
        line = into;
        return run(decode_line);
    }

    static void open(State& state);
    static void decode_line(State& state);
    static void close(State& state) { jpeg_finish_decompress(&state.info); }

    // Callbacks.
    static State& of(void* client_data) { return static_cast<State&>(*static_cast<ErrorExit*>(client_data)); }
    static void nothing(j_decompress_ptr) {}
    static boolean fill(j_decompress_ptr info);
    static void skip(j_decompress_ptr info, long bytes);
    static void count_scans(j_common_ptr info);

    jpeg_decompress_struct info{};
    jpeg_source_mgr source{};
    jpeg_progress_mgr progress{};
    FileWindow& file;
    std::uint64_t offset = 0;  // in the file, after the bytes that the library has been given
    bool failed = false;
    std::vector<std::uint8_t> spare;  // a line's room for skipped and for grey lines
    std::uint8_t* line = nullptr;     // where the next line goes
};

// Hands the library the next window of the file, without copying it.
boolean JpegDecoder::State::fill(j_decompress_ptr info) {
    State& state = of(info->client_data);
    const Bytes bytes = state.file.from(state.offset);
    // At the end of the file, decoders usually make up an end marker, and the rest of the picture is grey. Here it is
    // an error.
    if (bytes.empty() || state.offset > kMaxSourceBytes) jump_back(reinterpret_cast<j_common_ptr>(info));
    state.offset += bytes.size();
    state.source.next_input_byte = reinterpret_cast<const JOCTET*>(bytes.data());
    state.source.bytes_in_buffer = bytes.size();
    return TRUE;
}

// Steps over a segment, which may reach beyond the window: then the next fill() goes on after it.
void JpegDecoder::State::skip(j_decompress_ptr info, long bytes) {
    if (bytes <= 0) return;
    State& state = of(info->client_data);
    const auto count = static_cast<std::size_t>(bytes);
    if (count <= state.source.bytes_in_buffer) {
        state.source.next_input_byte += count;
        state.source.bytes_in_buffer -= count;
    } else {
        state.offset += count - state.source.bytes_in_buffer;
        state.source.bytes_in_buffer = 0;
    }
}

// All scans of a progressive picture are read before its first line is returned, and a scan of a few bytes costs as
// much time as any other: without a limit a small file could keep a processor busy for long.
void JpegDecoder::State::count_scans(j_common_ptr info) {
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number > kMaxScans) jump_back(info);
}

void JpegDecoder::State::open(State& state) {
    jpeg_decompress_struct& info = state.info;
    info.err = quiet_manager(state);
    info.client_data = static_cast<ErrorExit*>(&state);
    jpeg_create_decompress(&info);
    info.mem->max_memory_to_use = kMaxProgressiveBytes;
    state.source.init_source = nothing;
    state.source.fill_input_buffer = fill;
    state.source.skip_input_data = skip;
    state.source.resync_to_restart = jpeg_resync_to_restart;
    state.source.term_source = nothing;
    info.src = &state.source;
    state.progress.progress_monitor = count_scans;
    info.progress = &state.progress;

    jpeg_read_header(&info, TRUE);
    // Refused here, before the library allocates what the size in the header asks for.
    const auto common = reinterpret_cast<j_common_ptr>(&info);
    if (info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK) jump_back(common);
    if (static_cast<std::int64_t>(info.image_width) * info.image_height > kMaxSourcePixels) jump_back(common);
    info.out_color_space = info.jpeg_color_space == JCS_GRAYSCALE ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_start_decompress(&info);
}

void JpegDecoder::State::decode_line(State& state) {
    JSAMPROW row = state.line;
    if (state.info.output_scanline >= state.info.output_height || jpeg_read_scanlines(&state.info, &row, 1) != 1)
        jump_back(reinterpret_cast<j_common_ptr>(&state.info));
}

JpegDecoder::JpegDecoder(FileWindow& file) : state_(std::make_unique<State>(file)) {}
JpegDecoder::~JpegDecoder() = default;

bool JpegDecoder::start() {
    if (!state_->run(State::open)) return false;
    state_->spare.resize(static_cast<std::size_t>(width()) * 3);
    return true;
}

// Grey lines are decoded into the spare line and widened from there.
bool JpegDecoder::read_line(std::uint8_t* rgb) {
    if (state_->info.out_color_space == JCS_RGB) return state_->next_line(rgb);
    if (!skip_line()) return false;
    for (int x = 0; x < width(); ++x, rgb += 3) rgb[0] = rgb[1] = rgb[2] = state_->spare[static_cast<std::size_t>(x)];
    return true;
}

// The library has to decode a skipped line, too; only widening a grey one is saved.
bool JpegDecoder::skip_line() {
    return state_->next_line(state_->spare.data());
}

bool JpegDecoder::finish() {
    return state_->run(State::close);
}

int JpegDecoder::width() const {
    return static_cast<int>(state_->info.output_width);
}

int JpegDecoder::height() const {
    return static_cast<int>(state_->info.output_height);
}

// ---- encoding

namespace {

// False instead of an exception, which must not travel through the library.
bool append(std::string& text, const JOCTET* bytes, std::size_t count) noexcept {
    try {
        text.append(reinterpret_cast<const char*>(bytes), count);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// Encodes the whole picture in one step.
struct Encoder : ErrorExit {
    explicit Encoder(const RgbPicture& rgb) : picture(rgb), block(kBlockBytes) {}
    ~Encoder() { jpeg_destroy_compress(&info); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    static void encode(Encoder& encoder);

    static Encoder& of(void* client_data) { return static_cast<Encoder&>(*static_cast<ErrorExit*>(client_data)); }
    // The library fills the block; each time it is full its bytes are appended to `out`.
    static void use_block(j_compress_ptr info) {
        Encoder& encoder = of(info->client_data);
        encoder.destination.next_output_byte = encoder.block.data();
        encoder.destination.free_in_buffer = encoder.block.size();
    }
    static void take(j_compress_ptr info, std::size_t count) {
        Encoder& encoder = of(info->client_data);
        if (!append(encoder.out, encoder.block.data(), count)) jump_back(reinterpret_cast<j_common_ptr>(info));
        use_block(info);
    }
    static boolean empty(j_compress_ptr info) {
        take(info, of(info->client_data).block.size());
        return TRUE;
    }
    static void end(j_compress_ptr info) {
        const Encoder& encoder = of(info->client_data);
        take(info, encoder.block.size() - encoder.destination.free_in_buffer);
    }

    static constexpr std::size_t kBlockBytes = 16 * 1024;
    const RgbPicture& picture;
    jpeg_compress_struct info{};
    jpeg_destination_mgr destination{};
    std::vector<JOCTET> block;
    std::string out;
};

void Encoder::encode(Encoder& encoder) {
    jpeg_compress_struct& info = encoder.info;
    info.err = quiet_manager(encoder);
    info.client_data = static_cast<ErrorExit*>(&encoder);
    jpeg_create_compress(&info);
    encoder.destination.init_destination = use_block;
    encoder.destination.empty_output_buffer = empty;
    encoder.destination.term_destination = end;
    info.dest = &encoder.destination;

    info.image_width = static_cast<JDIMENSION>(encoder.picture.width);
    info.image_height = static_cast<JDIMENSION>(encoder.picture.height);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_start_compress(&info, TRUE);
    for (int y = 0; y < encoder.picture.height; ++y) {
        JSAMPROW row = const_cast<JSAMPROW>(encoder.picture.line(y));  // the library only reads it
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
}

}  // namespace

std::optional<std::string> jpeg_encode(const RgbPicture& picture) {
    Encoder encoder{picture};
    if (!guarded(encoder, Encoder::encode)) return std::nullopt;
    return std::move(encoder.out);
}
