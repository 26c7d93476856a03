#include "import/playlist_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/bytes.h"
#include "core/str.h"
#include "core/xml.h"
#include "core/xml_escape.h"
#include "meta/file_window.h"

namespace {

constexpr std::size_t kLeastEntry = 4;  // shorter lines name nothing
constexpr std::size_t kLongestTitle = 1023;
constexpr std::string_view kTitleMark = "#EXTINF:";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

class LineReader {
public:
    explicit LineReader(FileWindow& file) : file_(file) {
        if (as_text(file_.at(0, kByteOrderMark.size())) == kByteOrderMark) position_ = kByteOrderMark.size();
    }

    // Reads the next line without its end, cut to kPlaylistLine bytes; false at the end of the file.
    bool next(std::string& line) {
        line.clear();
        bool any = false, ended = false;
        while (!ended) {
            std::string_view piece = as_text(file_.from(position_));
            if (piece.empty()) break;
            any = true;
            const std::size_t end = piece.find('\n');
            ended = end != std::string_view::npos;
            position_ += ended ? end + 1 : piece.size();
            piece = piece.substr(0, end);
            line.append(piece.substr(0, kPlaylistLine - line.size()));
        }
        line.resize(std::min(line.find('\0'), line.size()));  // no path goes on after a NUL
        while (line.size() > 1 && static_cast<unsigned char>(line.back()) < 32) line.pop_back();
        return any;
    }

private:
    FileWindow& file_;
    std::uint64_t position_ = 0;
};

}  // namespace

void m3u_read(FileWindow& file, const PlaylistEntrySink& sink) {
    // Kept on purpose: a title stays until the next one comes, so entries without their own get it too.
    std::string line, title;
    for (LineReader lines{file}; lines.next(line);) {
        if (line.starts_with('#')) {
            const std::size_t comma = line.starts_with(kTitleMark) ? line.find(',') : std::string::npos;
            if (comma != std::string::npos) title = line.substr(comma + 1, kLongestTitle);
        } else if (line.size() >= kLeastEntry) {
            if (!sink(line, title)) return;
        }
    }
}

void pls_read(FileWindow& file, const PlaylistEntrySink& sink) {
    std::string line;
    for (LineReader lines{file}; lines.next(line);) {
        const std::size_t equals = line.starts_with("File") ? line.find('=') : std::string::npos;
        if (equals == std::string::npos) continue;
        const std::string_view entry = std::string_view{line}.substr(equals + 1);
        if (entry.size() >= kLeastEntry && !sink(entry, {})) return;
    }
}

void xml_playlist_read(std::string_view document, const PlaylistEntrySink& sink) {
    const auto root = xml_parse(document);
    for (const XmlNode* media = xml_find(root.get(), "media"); media != nullptr; media = media->next.get()) {
        if (media->name != "media") continue;
        const Text source = xml_get_attribute(media, "src");
        if (source && !source->empty() && !sink(xml_unescape(*source), {})) return;
    }
}
