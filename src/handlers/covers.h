// "/albumart-mp3/ID.jpg" and its kin for WMA, M4A and WAV files: the cover picture inside a music file, sent straight
// from it.
#pragma once

#include <optional>

#include "http/request.h"
#include "meta/embedded_picture.h"
#include "meta/file_window.h"

// The JFIF picture of the first ID3 picture frame; missing when the frame holds none (a PNG, an Exif JPEG).
std::optional<EmbeddedPicture> mp3_find_picture(FileWindow& file);
// The picture of the first WM/Picture attribute of an ASF file.
std::optional<EmbeddedPicture> wma_find_picture(FileWindow& file);
// The same as for MP3 files, of the ID3 chunk of a RIFF file.
std::optional<EmbeddedPicture> wav_find_picture(FileWindow& file);

HandlerResult handle_albumart_mp3(HttpRequest& request);
HandlerResult handle_albumart_wma(HttpRequest& request);
HandlerResult handle_albumart_m4a(HttpRequest& request);
HandlerResult handle_albumart_wav(HttpRequest& request);
