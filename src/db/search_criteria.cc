#include "db/search_criteria.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include "core/str.h"

namespace {

struct PropertyName {
    std::string_view name;
    SearchProperty property;
};

// In order: the first name that the text begins with.
constexpr auto kProperties = std::to_array<PropertyName>({
    {"dc:title", SearchProperty::title},
    {"dc:source", SearchProperty::resource},
    {"dc:creator", SearchProperty::artist},
    {"upnp:artist", SearchProperty::artist},
    {"upnp:author@role", SearchProperty::role},
    {"upnp:author", SearchProperty::artist},
    {"upnp:albumArtURI", SearchProperty::album_art},
    {"upnp:album", SearchProperty::album},
    {"upnp:genre", SearchProperty::genre},
    {"dc:date", SearchProperty::date},
    {"res", SearchProperty::resource},
    {"upnp:class", SearchProperty::object_class},
    {"upnp:originalTrackNumber", SearchProperty::track_number},
    {"@id", SearchProperty::id},
    {"@parentID", SearchProperty::parent_id},
    {"@refID", SearchProperty::reference_id},
});

struct OperatorName {
    std::string_view name;
    SearchOperator op;
};

// In order: a longer operator stands before the one that begins it.
constexpr auto kOperators = std::to_array<OperatorName>({
    {"=", SearchOperator::equal},
    {"!=", SearchOperator::not_equal},
    {"<=", SearchOperator::less_or_equal},
    {"<", SearchOperator::less},
    {">=", SearchOperator::greater_or_equal},
    {">", SearchOperator::greater},
    {"contains", SearchOperator::contains},
    {"doesNotContain", SearchOperator::does_not_contain},
    {"derivedfrom", SearchOperator::derived_from},
    {"exists", SearchOperator::exists},
});

constexpr std::size_t kMaxValue = 1023;

template <typename Names>
auto take_name(std::string_view& rest, const Names& names) {
    const auto found =
        std::find_if(names.begin(), names.end(), [&](const auto& known) { return rest.starts_with(known.name); });
    if (found != names.end()) rest.remove_prefix(found->name.size());
    return found != names.end() ? std::optional{*found} : std::nullopt;
}

void skip_spaces(std::string_view& rest) {
    while (rest.starts_with(' ')) rest.remove_prefix(1);
}

void skip_blanks(std::string_view& rest) {
    while (!rest.empty() && static_cast<unsigned char>(rest.front()) <= ' ') rest.remove_prefix(1);
}

// The text inside the quotes; a backslash takes the next character literally. Returns nullopt if they never close.
Text take_quoted(std::string_view& rest) {
    std::string value;
    for (std::size_t at = 1; at < rest.size(); ++at) {
        if (rest[at] == '"') {
            rest.remove_prefix(at + 1);
            return value;
        }
        if (rest[at] == '\\' && ++at == rest.size()) break;
        if (value.size() < kMaxValue) value.push_back(rest[at]);
    }
    return std::nullopt;
}

std::string take_bare(std::string_view& rest) {
    const std::string_view bare = rest.substr(0, rest.find(' '));
    rest.remove_prefix(bare.size());
    return std::string{bare.substr(0, kMaxValue)};
}

// What a group holds between its parentheses; parentheses in quotes are text. Returns nullopt if it never closes.
std::optional<std::string_view> take_group(std::string_view& rest) {
    bool quoted = false;
    std::size_t open = 0;
    for (std::size_t at = 0; at < rest.size(); ++at) {
        const char c = rest[at];
        if (quoted && c == '\\') {
            ++at;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && c == '(') {
            ++open;
        } else if (!quoted && c == ')' && --open == 0) {
            const std::string_view inside = rest.substr(1, at - 1);
            rest.remove_prefix(at + 1);
            return inside;
        }
    }
    return std::nullopt;
}

// A recursive descent over groups. A group becomes rows joined by "or", each row terms joined by "and", which gives
// "and" its higher precedence without a second pass.
class Compiler {
public:
    // Returns nullopt for bad criteria.
    std::optional<SearchCriteria> compile(std::string_view text) {
        std::optional<SearchGroup> top = group(text, 0);
        if (!top) return std::nullopt;
        criteria_.top = std::move(*top);
        number(criteria_.top);
        return std::move(criteria_);
    }

private:
    enum class Connective { none, conjunction, disjunction };

    // Two terms with no connective between them: the group's value is decided by what came before. The rest is still
    // read, because a syntax error in it refuses the criteria.
    struct Rows {
        SearchGroup group;
        bool decided = false;

        void add(Connective before, SearchTerm term) {
            if (!group.any_of.empty() && before == Connective::none) decided = true;
            if (decided) return;
            if (before != Connective::conjunction) group.any_of.emplace_back();
            SearchRow& row = group.any_of.back();
            row.tells_apart |= term.tells_apart;
            row.all_of.push_back(std::move(term));
        }
    };

    // "*" at the beginning of a group matches everything, and nothing after it is read.
    std::optional<SearchGroup> group(std::string_view rest, std::size_t depth) {
        if (rest.starts_with('*')) return SearchGroup{.any_of = {SearchRow{.all_of = {SearchTerm{true}}}}};
        Rows rows;
        std::size_t tokens = 0;
        Connective before = Connective::none;
        for (skip_blanks(rest); !rest.empty(); skip_blanks(rest)) {
            if (++tokens > kMaxSearchTokens) return std::nullopt;
            if (const Connective connective = take_connective(rest); connective != Connective::none) {
                if (before != Connective::none || rows.group.any_of.empty()) return std::nullopt;
                before = connective;
                continue;
            }
            std::optional<SearchTerm> next = term(rest, depth);
            if (!next) return std::nullopt;
            rows.add(std::exchange(before, Connective::none), std::move(*next));
        }
        if (before != Connective::none) return std::nullopt;
        return std::move(rows.group);
    }

    static Connective take_connective(std::string_view& rest) {
        const bool conjunction = rest.starts_with("and");
        if (!conjunction && !rest.starts_with("or")) return Connective::none;
        rest.remove_prefix(conjunction ? 3 : 2);
        return conjunction ? Connective::conjunction : Connective::disjunction;
    }

    std::optional<SearchTerm> term(std::string_view& rest, std::size_t depth) {
        if (!rest.starts_with('(')) return relation(rest);
        const auto inside = take_group(rest);
        if (!inside || depth == kMaxSearchDepth || ++terms_ > kMaxSearchTerms) return std::nullopt;
        std::optional<SearchGroup> nested = group(*inside, depth + 1);
        if (!nested) return std::nullopt;
        const bool tells_apart = std::ranges::any_of(nested->any_of, &SearchRow::tells_apart);
        return SearchTerm{std::move(*nested), tells_apart};
    }

    std::optional<SearchTerm> relation(std::string_view& rest) {
        const auto property = take_name(rest, kProperties);
        if (!property || ++terms_ > kMaxSearchTerms) return std::nullopt;
        skip_spaces(rest);
        const auto op = take_name(rest, kOperators);
        if (!op) return std::nullopt;
        skip_spaces(rest);
        Text value;
        if (rest.starts_with('"')) {
            value = take_quoted(rest);
            if (!value) return std::nullopt;
        } else if (!rest.empty()) {
            value = take_bare(rest);
        }
        const bool id = property->property == SearchProperty::id;
        const bool reference_id = property->property == SearchProperty::reference_id;
        const bool track_number = property->property == SearchProperty::track_number;
        criteria_.uses_id |= id;
        criteria_.uses_reference_id |= reference_id;
        criteria_.uses_track_number |= track_number;
        return SearchTerm{SearchRelation{property->property, op->op, std::move(value)},
                          id || reference_id || track_number};
    }

    // Numbers groups and rows in the order they appear: the bits of ItemFits.
    void number(SearchGroup& group) {
        group.number = next_number_++;
        for (SearchRow& row : group.any_of) {
            row.number = next_number_++;
            for (SearchTerm& term : row.all_of)
                if (auto* const nested = std::get_if<SearchGroup>(&term.what)) number(*nested);
        }
    }

    SearchCriteria criteria_;
    std::size_t terms_ = 0, next_number_ = 0;
};

}  // namespace

std::optional<SearchCriteria> search_compile(std::string_view text) {
    return Compiler{}.compile(text);
}

std::optional<std::string_view> search_pinned_id(const SearchCriteria& criteria) {
    if (criteria.top.any_of.size() != 1) return std::nullopt;
    for (const SearchTerm& term : criteria.top.any_of.front().all_of) {
        const SearchRelation* const relation = std::get_if<SearchRelation>(&term.what);
        const bool pins = relation != nullptr && relation->property == SearchProperty::id &&
                          relation->op == SearchOperator::equal && relation->value;
        if (pins) return *relation->value;
    }
    return std::nullopt;
}
