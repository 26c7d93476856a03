#include "core/ini.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "core/bytes.h"
#include "core/file.h"
#include "core/log.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/thread.h"

namespace {

constexpr std::string_view kHead =
    "# Pelorama ini file\n"
    "# change settings by commandline or by editing this file\n";
constexpr std::size_t kLongestPath = 1023;
constexpr std::size_t kLongestLine = 1023;
constexpr std::size_t kReadBytes = 16 * 1024;

struct IniState {
    std::mutex mutex;  // guards the path
    std::string path = "./pelorama-mediaserver.ini";
    std::mutex writing;  // one writer at a time, or two would mix their texts
};
IniState& state() {
    return process_wide<IniState>();
}

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 32;
}

// The part of a line that counts: it ends before a comment or a control byte, such as the line end.
std::string_view live_part(std::string_view line) {
    std::size_t end = 0;
    while (end < line.size() && line[end] != '#' && !is_control(line[end])) ++end;
    return line.substr(0, end);
}

void apply_line(std::string_view line, bool was_cut) {
    const auto parsed = ini_parse_line(line);
    if (!parsed || !settings_set_by_key(parsed->key, parsed->value)) return;
    if (was_cut && live_part(line).size() == line.size())
        log_message(LOG_PROBLEM, LOG_SYSTEM, "ini file \"%s\": the line of \"%s\" is too long, its end is lost\n",
                    ini_path().c_str(), std::string{parsed->key}.c_str());
}

// Splits a file that is read in pieces into lines. The part of a line beyond kLongestLine is dropped, so that it is
// never read as a line of its own.
class LineCutter {
public:
    void take(std::string_view piece) {
        for (;;) {
            const std::size_t end = piece.find('\n');
            const std::string_view part = piece.substr(0, end);
            const std::size_t room = kLongestLine - line_.size();
            cut_ = cut_ || part.size() > room;
            line_.append(part.substr(0, room));
            if (end == std::string_view::npos) return;
            finish();
            piece.remove_prefix(end + 1);
        }
    }
    void finish() {
        apply_line(line_, cut_);
        line_.clear();
        cut_ = false;
    }

private:
    std::string line_;
    bool cut_ = false;
};

// A line ends at the first control byte. The rest of a value must not become a line of its own.
std::string_view one_line(std::string_view value) {
    return value.substr(0, static_cast<std::size_t>(std::ranges::find_if(value, is_control) - value.begin()));
}

void append_comment(std::string& out, std::string_view lines) {
    while (!lines.empty()) {
        const std::size_t end = std::min(lines.find('\n'), lines.size());
        out.append("# ").append(lines.substr(0, end)).append("\n");
        lines.remove_prefix(std::min(end + 1, lines.size()));
    }
}

std::string option_line(const SettingSpec& spec) {
    return std::string{spec.option}.append(spec.between).append(spec.explanation);
}

std::string whole_file() {
    std::string text{kHead};
    for (const SettingSpec& spec : settings_table()) {
        if (!spec.is_written()) continue;
        if (!spec.option.empty()) {
            text.append("\n");
            append_comment(text, spec.above);
            text.append("# param ").append(option_line(spec)).append("\n");
            append_comment(text, spec.below);
        }
        const Text value = settings_get(spec.id);
        text.append(spec.key).append("=").append(one_line(text_or_empty(value))).append("\n");
    }
    return text;
}

}  // namespace

std::string ini_path() {
    std::scoped_lock lock{state().mutex};
    return state().path;
}

void ini_set_path(std::string_view path) {
    std::scoped_lock lock{state().mutex};
    state().path = path.substr(0, kLongestPath);
}

void ini_read() {
    const File file = file_open_regular(ini_path());
    if (!file) return;
    LineCutter lines;
    std::array<std::byte, kReadBytes> buffer;
    for (std::uint64_t offset = 0;;) {
        const std::size_t got = file.read_at(offset, buffer);
        if (got == 0) break;
        lines.take(as_text(Bytes{buffer}.first(got)));
        offset += got;
    }
    lines.finish();
}

void ini_write() {
    std::scoped_lock lock{state().writing};
    const std::string path = ini_path();
    const std::string text = whole_file();
    const File file = file_create(path);
    if (!file) {
        log_message(LOG_ERROR, LOG_SYSTEM, "\nini file \"%s\" not writable! ***\n\n", path.c_str());
        return;
    }
    if (!file.write_all(text))
        log_message(LOG_ERROR, LOG_SYSTEM, "ini file \"%s\" not completely written: %s\n", path.c_str(),
                    error_text().c_str());
}

std::optional<IniLine> ini_parse_line(std::string_view line) {
    line = live_part(line);
    const std::size_t first = line.find('=');
    if (first == std::string_view::npos) return std::nullopt;
    std::string_view key = line.substr(0, first);
    // Only one blank is removed: a key with two blanks after it keeps one and matches no setting.
    if (key.ends_with(' ')) key.remove_suffix(1);
    return IniLine{.key = key, .value = str_trim_left(line.substr(line.rfind('=') + 1))};
}

std::string usage_text(std::string_view program_name) {
    std::string out = str_concat(str_concat("\nusage: ", program_name), "\n\n");
    for (const SettingSpec& spec : settings_table()) {
        if (!spec.is_written() || spec.option.empty()) continue;
        out.append(" ");
        for (const char c : option_line(spec)) c == '=' ? out.append("\n\t") : out.append(1, c);
        out.append("\n\n");
    }
    return out;
}

void print_usage(std::string_view program_name) {
    const std::string text = usage_text(program_name);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::exit(EXIT_SUCCESS);
}
