// The XML reader and the decoding and escaping of its texts, and the station list of a directory, which may be
// anybody's: every station that the store would take has an "http://" URL and a genre of the table.
#include "core/xml.h"
#include "core/xml_escape.h"
#include "import/radio.h"
#include "target.h"

void fuzz(Bytes input) {
    const std::string_view document = as_text(input);
    const auto root = xml_parse(document);
    for (const XmlNode* node = root.get(); node != nullptr; node = xml_find_next(node, "entry")) {
        xml_get_text(node, "Name");
        xml_get_int(node, "Bitrate");
        xml_get_attribute(node, "Playstring");
        // What was read lies within the document.
        require(node->name.size() + text_or_empty(node->text).size() <= input.size());
    }
    for (const ClientText client : {ClientText::utf8, ClientText::single_bytes}) {
        const Text escaped = xml_escape_for(document, client);
        require(!escaped || (escaped->size() <= 1021 && escaped->find_first_of("<>") == std::string::npos));
    }
    require(xml_unescape(document).size() <= input.size());

    const auto stations = radio_parse_stations(document);
    require(stations.size() <= kMaxStations && stations.size() <= input.size() / 6);  // "<entry" has six
    for (const NewItem& station : stations) {
        require(!station.path || station.path->starts_with("http://"));
        require(radio_genre_name(text_or_empty(station.genre)) == station.genre);
    }
}
