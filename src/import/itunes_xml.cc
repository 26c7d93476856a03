// Three layers, each of which knows only the one below: TokenReader cuts the file into tags, PropertyList makes values,
// dictionaries and arrays of them, LibraryReader picks tracks and playlists. All read forward only and hold one token;
// what nobody asked for is skipped without being kept. That way a library of any size needs memory for its songs and
// for the ids of one playlist, and a file that nests deeply needs no stack.
#include "import/itunes_xml.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/bytes.h"
#include "core/file.h"
#include "core/str.h"
#include "core/thread.h"
#include "core/url_decode.h"
#include "core/xml_escape.h"
#include "import/library_item.h"
#include "meta/file_window.h"

namespace {

constexpr std::size_t kLongestText = 64 * 1024;  // of one value; the rest is skipped
constexpr std::size_t kLongestName = 64;         // of an element

// A tag of the file, with the text before it.
struct Token {
    enum class Kind { open, close, empty, end };
    Kind kind = Kind::end;
    std::string name;
    std::string text;  // as written, entities and all
};

// Reads tag by tag, in one pass, and holds only the token. Comments, declarations and attributes are skipped. The file
// seems to end when the flag (null: none) stops running.
class TokenReader {
public:
    TokenReader(FileWindow& file, const RunningFlag* running) : file_(file), running_(running) {}

    const Token& next() {
        token_.text.clear();
        for (;;) {
            token_.name.clear();
            token_.kind = Token::Kind::end;
            if (running_ != nullptr && !running_->running()) return token_;
            take_until('<', &token_.text, kLongestText);
            token_.kind = take_tag();
            if (token_.kind == Token::Kind::end || !is_declaration()) return token_;
        }
    }

private:
    bool is_declaration() const { return token_.name.starts_with('?') || token_.name.starts_with('!'); }

    bool fill() {
        if (rest_.empty()) rest_ = as_text(file_.from(position_));
        return !rest_.empty();
    }
    void drop(std::size_t n) {
        rest_.remove_prefix(n);
        position_ += n;
    }

    // Takes everything up to the character, and the character. False at the end of the file.
    bool take_until(char wanted, std::string* into, std::size_t limit) {
        while (fill()) {
            const std::size_t at = rest_.find(wanted);
            const std::string_view piece = rest_.substr(0, at);
            if (into != nullptr) into->append(piece.substr(0, limit - std::min(limit, into->size())));
            const bool found = at != std::string_view::npos;
            drop(piece.size() + (found ? 1 : 0));
            if (found) return true;
        }
        return false;
    }

    // After the "<", up to the ">" that is not in quotes.
    Token::Kind take_tag() {
        char quote = '\0', last = '\0';
        bool named = false;
        while (fill()) {
            const char c = rest_.front();
            drop(1);
            if (quote != '\0') {
                if (c == quote) quote = '\0';
            } else if (c == '>') {
                return finish_tag(last);
            } else if (named && (c == '"' || c == '\'')) {
                quote = c;
            } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
                named = true;
            } else if (!named && token_.name.size() < kLongestName) {
                token_.name.push_back(c);
                if (token_.name == "!--") return take_comment();
            }
            last = c;
        }
        return Token::Kind::end;
    }

    Token::Kind finish_tag(char last) {
        if (token_.name.starts_with('/')) {
            token_.name.erase(0, 1);
            return Token::Kind::close;
        }
        if (last != '/') return Token::Kind::open;
        if (token_.name.ends_with('/')) token_.name.pop_back();
        return Token::Kind::empty;
    }

    Token::Kind take_comment() {
        for (int dashes = 0; fill();) {
            const char c = rest_.front();
            drop(1);
            if (c == '>' && dashes >= 2) return Token::Kind::open;
            dashes = c == '-' ? std::min(dashes + 1, 2) : 0;
        }
        return Token::Kind::end;
    }

    FileWindow& file_;
    const RunningFlag* running_;
    std::uint64_t position_ = 0;
    std::string_view rest_;  // of what is loaded
    Token token_;
};

// Property lists: dictionaries of keys and values, arrays of values. A handler gets the token that begins a value and
// must read the value to its end. Nothing here recurses as deep as the file nests.
class PropertyList {
public:
    PropertyList(FileWindow& file, const RunningFlag* running) : tokens_(file, running) {}

    // Goes to the first dictionary; false if there is none.
    bool enter() {
        for (;;) {
            const Token& token = tokens_.next();
            if (token.kind == Token::Kind::end) return false;
            if (token.kind == Token::Kind::open && token.name == "dict") return true;
        }
    }

    // Reads the dictionary that has begun to its end and calls handle(key, token) for each value.
    template <typename Handle>
    void read_dictionary(Handle handle) {
        std::string key;
        while (const Token* const token = next_value()) {
            if (token->name == "key") {
                key = read_text(*token);
            } else {
                handle(std::as_const(key), *token);
                key.clear();
            }
        }
    }

    // Reads the array that has begun to its end and calls handle(token) for each value.
    template <typename Handle>
    void read_array(Handle handle) {
        while (const Token* const token = next_value()) handle(*token);
    }

    // The decoded text of the value that begins with this token; elements within it are skipped.
    std::string read_text(const Token& begun) {
        if (begun.kind != Token::Kind::open) return {};
        const Token& token = tokens_.next();
        std::string text = xml_unescape(token.text);
        const Token::Kind kind = token.kind;  // there is one token only, and reading on changes it
        if (kind == Token::Kind::open) skip_to_close(2);
        if (kind == Token::Kind::empty) skip_to_close(1);
        return text;
    }

    void skip(const Token& begun) {
        if (begun.kind == Token::Kind::open) skip_to_close(1);
    }

private:
    // The token that begins the next value; null at the end of the dictionary or array.
    const Token* next_value() {
        const Token& token = tokens_.next();
        return token.kind == Token::Kind::close || token.kind == Token::Kind::end ? nullptr : &token;
    }

    // Reads to the end of that many elements, each nested in the one before.
    void skip_to_close(std::uint64_t depth) {
        while (depth > 0) {
            const Token& token = tokens_.next();
            if (token.kind == Token::Kind::end) return;
            if (token.kind == Token::Kind::open) ++depth;
            if (token.kind == Token::Kind::close) --depth;
        }
    }

    TokenReader tokens_;
};

bool begins(const Token& token, std::string_view name) {
    return token.kind == Token::Kind::open && token.name == name;
}

struct TextKey {
    std::string_view key;
    Text LibrarySong::*field;
};
constexpr TextKey kTextKeys[] = {
    {"Name", &LibrarySong::title},
    {"Artist", &LibrarySong::artist},
    {"Album", &LibrarySong::album},
    {"Genre", &LibrarySong::genre},
    {"Size", &LibrarySong::size},
    {"Total Time", &LibrarySong::total_time},
    {"Date Modified", &LibrarySong::modified},
    {"Year", &LibrarySong::year},
    {"Location", &LibrarySong::location},
};

class LibraryReader {
public:
    LibraryReader(FileWindow& file, const LibraryEntrySink& sink, const RunningFlag* running)
        : list_(file, running), sink_(sink) {}

    void read() {
        if (!list_.enter()) return;
        list_.read_dictionary([this](const std::string& key, const Token& token) {
            if (key == "Tracks" && begins(token, "dict")) {
                list_.read_dictionary(
                    [this](const std::string& id, const Token& track) { read_track(text_int(id), track); });
            } else if (key == "Playlists" && begins(token, "array")) {
                list_.read_array([this](const Token& playlist) { read_playlist(playlist); });
            } else {
                list_.skip(token);
            }
        });
    }

private:
    void read_track(std::int32_t id, const Token& begun) {
        if (!begins(begun, "dict")) return list_.skip(begun);
        LibrarySong song{.id = id};
        bool is_file = true;
        list_.read_dictionary([&](const std::string& key, const Token& token) {
            if (key == "Compilation") {
                song.compilation = token.name == "true";
                return list_.skip(token);
            }
            const std::string value = list_.read_text(token);
            if (key == "Track ID") song.id = text_int(value);
            if (key == "Track Type") is_file = value == "File";
            if (key == "Bit Rate") song.bitrate = text_int(value);
            if (key == "Artwork Count") song.artwork = text_int(value) > 0;
            for (const TextKey& text : kTextKeys)
                if (key == text.key) song.*text.field = value;
        });
        if (song.location) song.location = itunes_location_path(*song.location);
        // Streams and what is only in the cloud have no file.
        if (is_file && song.location) songs_.add(song);
    }

    void read_playlist(const Token& begun) {
        if (!begins(begun, "dict")) return list_.skip(begun);
        Text name;
        bool master = false;
        std::vector<std::int32_t> ids;
        list_.read_dictionary([&](const std::string& key, const Token& token) {
            if (key == "Playlist Items" && begins(token, "array")) {
                list_.read_array([&](const Token& entry) { read_entry(entry, ids); });
            } else if (key == "Master") {
                master = token.name == "true";
                list_.skip(token);
            } else if (key == "Name") {
                name = list_.read_text(token);
            } else {
                list_.skip(token);
            }
        });
        const bool whole_library = ++playlist_count_ == 1 || master || name == "Library";
        if (!whole_library) hand_over(name.value_or("Unknown"), ids);
    }

    void read_entry(const Token& begun, std::vector<std::int32_t>& ids) {
        if (!begins(begun, "dict")) return list_.skip(begun);
        list_.read_dictionary([&](const std::string& key, const Token& token) {
            const std::string value = list_.read_text(token);
            if (key == "Track ID") ids.push_back(text_int(value));
        });
    }

    void hand_over(const std::string& name, const std::vector<std::int32_t>& ids) {
        std::int32_t position = 1;
        for (const std::int32_t id : ids) {
            if (stopped_) return;
            if (const auto song = songs_.find(id)) stopped_ = !sink_(*song, name, position++);
        }
    }

    PropertyList list_;
    const LibraryEntrySink& sink_;
    SongList songs_;
    int playlist_count_ = 0;
    bool stopped_ = false;
};

}  // namespace

void itunes_xml_read(FileWindow& file, const LibraryEntrySink& sink, const RunningFlag* running) {
    LibraryReader{file, sink, running}.read();
}

Text itunes_location_path(std::string_view location) {
    constexpr std::string_view kScheme = "file://", kHost = "localhost";
    if (!str_starts_nocase(location, kScheme)) return std::nullopt;
    location.remove_prefix(kScheme.size());
    if (str_starts_nocase(location, kHost)) location.remove_prefix(kHost.size());
    return location.starts_with('/') ? Text{url_decode(location)} : std::nullopt;
}

std::vector<std::string> itunes_xml_import(const std::string& path, const std::vector<std::string>& former_names,
                                           const RunningFlag* running) {
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : std::nullopt;
    if (!status) return former_names;
    LibraryImport import{former_names, running};
    FileWindow window{file, static_cast<std::uint64_t>(status->size)};
    itunes_xml_read(
        window,
        [&](const LibrarySong& song, const std::string& playlist, std::int32_t position) {
            return import.add(song, playlist, position);
        },
        running);
    return import.finish();
}
