#include "meta/media_facts.h"
#include <cstdint>
#include <functional>
#include <string>
#include "core/file.h"
#include "core/str.h"

MediaFacts media_facts_of_file(const std::string& path,
                               const std::function<MediaFacts(const File& file, std::uint64_t size)>& read) {
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : file_status(path);
    if (!status) return {};
    MediaFacts facts = file ? read(file, static_cast<std::uint64_t>(status->size)) : MediaFacts{};
    facts.size = status->size;
    facts.modified = status->modified_32();
    return facts;
}

std::string date_of_year(std::int32_t year) {
    return text_format(12, "%04d-01-01", year);
}
