#include "core/xml.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "core/log.h"
#include "core/str.h"
#include "core/xml_escape.h"

namespace {

constexpr std::size_t npos = std::string_view::npos;

// Returns the text between the first two double quotes; the whole span if there are none. Single quotes mean nothing.
std::string_view attribute_value(std::string_view span) {
    const std::size_t open = span.find('"');
    const std::size_t close = open == npos ? npos : span.find('"', open + 1);
    return close == npos ? span : span.substr(open + 1, close - open - 1);
}

// One pass over the document. The open elements are on an explicit stack, so that a deep or wide document cannot use up
// the thread's stack. Each position is looked at a bounded number of times, so the time is linear.
//
//     open_element       "<name attributes>" and its text: pushes the element if a child follows, else finishes it
//     close_into_parent  attaches the finished element to the top of the stack, which then has another child or ends
//
// Nothing is rejected: an element that cannot be read ends all open elements where they are.
class Parser {
public:
    explicit Parser(std::string_view document) : document_(document) {}

    std::unique_ptr<XmlNode> parse() {
        for (Step step = open_element();;) {
            switch (step) {
                case Step::element:
                    step = open_element();
                    break;
                case Step::closed:
                    step = close_into_parent();
                    break;
                case Step::failed:
                    end_everything();
                    return std::move(finished_);
                case Step::done:
                    return std::move(finished_);
            }
        }
    }

private:
    enum class Step {
        element,  // position_ is at the "<" of a child of the innermost open element
        closed,   // the element in finished_ ends at position_
        failed,   // there is no further element
        done,     // the root is in finished_
    };

    struct OpenElement {
        std::unique_ptr<XmlNode> node;
        XmlNode* last_child = nullptr;
    };

    // Returns the position of the first wanted character outside double quotes; `from` itself is outside.
    std::size_t find_unquoted(std::size_t from, std::string_view wanted) const {
        bool quoted = false;
        for (std::size_t at = from; at < document_.size(); ++at) {
            if (document_[at] == '"')
                quoted = !quoted;
            else if (!quoted && wanted.find(document_[at]) != npos)
                return at;
        }
        return npos;
    }

    char at(std::size_t index) const { return index < document_.size() ? document_[index] : '\0'; }

    std::size_t skip_blanks(std::size_t from) const { return std::min(document_.find_first_not_of(' ', from), end()); }

    std::size_t end() const { return document_.size(); }

    // Skips the declaration and other processing instructions.
    std::size_t find_element_start(std::size_t from) const {
        bool quoted = false;
        for (std::size_t i = from; i < document_.size(); ++i) {
            if (document_[i] == '"') quoted = !quoted;
            if (!quoted && document_[i] == '<' && at(i + 1) != '?') return i;
        }
        return npos;
    }

    Step open_element() {
        const std::size_t start = find_element_start(position_);
        if (start == npos) return Step::failed;
        const std::size_t name_end = find_unquoted(start + 1, " />");
        if (name_end == npos) return Step::failed;

        auto node = std::make_unique<XmlNode>();
        node->name = document_.substr(start + 1, name_end - start - 1);
        const std::size_t tag_end = read_attributes(name_end, node->attributes);
        if (at(tag_end) != '>') return finish(std::move(node), std::min(tag_end + 1, end()));  // "/", or ran out

        const std::size_t content = tag_end + 1;
        const std::size_t next_tag = find_unquoted(content, "<");
        if (next_tag == npos) return finish(std::move(node), end());
        if (at(next_tag + 1) != '/') {
            position_ = next_tag;
            push(std::move(node));
            return Step::element;
        }
        node->text = xml_unescape(document_.substr(content, next_tag - content));
        const std::size_t close = end_tag(next_tag, node->name);
        return finish(std::move(node), close);
    }

    // `from` is the position after the name. Returns the position of the ">" or "/" that ends the tag; the end of the
    // input if there is none. The last attribute comes first in the list.
    std::size_t read_attributes(std::size_t from, std::vector<XmlAttribute>& attributes) const {
        std::size_t cursor = skip_blanks(from);
        while (cursor < end() && at(cursor) != '>' && at(cursor) != '/') {
            // A name extends to its "=", across blanks and even a ">"; a "/" before that ends the tag.
            const std::size_t name_end = std::min(find_unquoted(cursor, "=/"), end());
            if (at(name_end) != '=') {
                cursor = name_end;
                break;
            }
            const std::size_t value = skip_blanks(name_end + 1);
            const std::size_t value_end = std::min(find_unquoted(value, " />"), end());
            attributes.push_back({.name = std::string{document_.substr(cursor, name_end - cursor)},
                                  .value = std::string{attribute_value(document_.substr(value, value_end - value))}});
            cursor = skip_blanks(value_end);
        }
        std::reverse(attributes.begin(), attributes.end());
        return cursor;
    }

    // Checks the name of the end tag at `start` and returns the position of its ">".
    std::size_t end_tag(std::size_t start, const std::string& name) const {
        // Kept on purpose: only the length of the name is compared, so "</ab>" closes an "a". A wrong tag is logged as
        // information only, so that a hostile body with a million of them does not fill the log.
        if (!document_.substr(start + 2).starts_with(name))
            log_message(LOG_INFO, LOG_XMLPARSER, "bad end tag!\n%s\n", name.c_str());
        return std::min(find_unquoted(start, ">"), end());
    }

    void push(std::unique_ptr<XmlNode> node) {
        if (open_.size() < kXmlDepth)
            open_.push_back({.node = std::move(node)});
        else
            ++read_over_;
    }

    Step finish(std::unique_ptr<XmlNode> node, std::size_t position) {
        finished_ = std::move(node);
        position_ = position;
        return Step::closed;
    }

    // Attaches the finished element to the innermost open one, which then either ends too or has another child.
    Step close_into_parent() {
        if (open_.empty()) return Step::done;
        attach(std::move(finished_));
        const std::size_t next_tag = find_unquoted(position_, "<");
        if (next_tag != npos && at(next_tag + 1) != '/') {
            position_ = next_tag;
            return Step::element;
        }
        if (read_over_ > 0) {
            --read_over_;
            position_ = next_tag == npos ? end() : std::min(find_unquoted(next_tag, ">"), end());
            return Step::closed;
        }
        const std::size_t position = next_tag == npos ? end() : end_tag(next_tag, open_.back().node->name);
        return finish(pop(), position);
    }

    void attach(std::unique_ptr<XmlNode> child) {
        if (open_.size() == kXmlDepth) return;
        OpenElement& parent = open_.back();
        XmlNode* const added = child.get();
        (parent.last_child != nullptr ? parent.last_child->next : parent.node->first_child) = std::move(child);
        parent.last_child = added;
    }

    std::unique_ptr<XmlNode> pop() {
        std::unique_ptr<XmlNode> node = std::move(open_.back().node);
        open_.pop_back();
        return node;
    }

    // A child that cannot be read ends its parent, which for the same reason ends the next one, up to the root.
    void end_everything() {
        finished_.reset();
        while (!open_.empty()) {
            if (finished_) attach(std::move(finished_));
            finished_ = pop();
        }
    }

    std::string_view document_;
    std::size_t position_ = 0;
    std::unique_ptr<XmlNode> finished_;
    std::vector<OpenElement> open_;
    std::size_t read_over_ = 0;  // open elements below the last level that is kept
};

}  // namespace

XmlNode::~XmlNode() {
    while (next) next = std::move(next->next);
}

std::unique_ptr<XmlNode> xml_parse(std::string_view document) {
    return Parser{document.substr(0, document.find('\0'))}.parse();
}

const XmlNode* xml_find(const XmlNode* node, std::string_view name) {
    for (; node != nullptr; node = node->next.get())
        if (const XmlNode* found = xml_find_below(node, name)) return found;
    return nullptr;
}

const XmlNode* xml_find_next(const XmlNode* node, std::string_view name) {
    return node == nullptr ? nullptr : xml_find(node->next.get(), name);
}

const XmlNode* xml_find_below(const XmlNode* node, std::string_view name) {
    if (node == nullptr || node->name == name) return node;
    return xml_find(node->first_child.get(), name);
}

Text xml_get_text(const XmlNode* node, std::string_view name) {
    const XmlNode* const found = xml_find(node, name);
    return found == nullptr ? std::nullopt : found->text;
}

std::int32_t xml_get_int(const XmlNode* node, std::string_view name) {
    const XmlNode* const found = xml_find(node, name);
    return found == nullptr ? 0 : text_int(text_or_empty(found->text));
}

Text xml_get_attribute(const XmlNode* node, std::string_view name) {
    if (node == nullptr) return std::nullopt;
    for (const XmlAttribute& attribute : node->attributes)
        if (name.empty() || attribute.name == name) return attribute.value;
    return std::nullopt;
}
