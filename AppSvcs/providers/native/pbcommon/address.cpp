#include "address.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "messages.pb.h"
#include "text.h"

namespace pbcommon {

namespace {

constexpr std::string_view kNameCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";

bool isName(std::string_view text) {
    return !text.empty() && text.find_first_not_of(kNameCharacters) == std::string_view::npos;
}

bool isNodeName(std::string_view text) {
    for (std::size_t dot = text.find('.'); dot != std::string_view::npos; dot = text.find('.')) {
        if (!isName(text.substr(0, dot))) {
            return false;
        }
        text.remove_prefix(dot + 1);
    }
    return isName(text);
}

/// Takes a trailing "[n]" off `text`; false when that is not an instance.
bool takeInstance(std::string_view& text, int& nInstance) {
    nInstance = 0;
    if (text.empty() || text.back() != ']') {
        return true;
    }
    const std::size_t open = text.rfind('[');
    if (open == std::string_view::npos || open + 2 >= text.size() || text[open + 1] == '-') {
        return false;
    }
    const char* const last = text.data() + text.size() - 1;
    const auto [end, error] = std::from_chars(text.data() + open + 1, last, nInstance);
    text = text.substr(0, open);
    return error == std::errc() && end == last;
}

void appendWithInstance(std::string& out, std::string_view sName, int nInstance) {
    out += sName;
    if (nInstance != 0) {
        out += '[';
        out += std::to_string(nInstance);
        out += ']';
    }
}

}  // namespace

std::optional<AddressView> parseAddress(std::string_view text) {
    const std::size_t dot = text.rfind('.');
    if (dot == std::string_view::npos) {
        return std::nullopt;
    }
    AddressView address;
    std::string_view node = text.substr(0, dot);
    std::string_view variable = text.substr(dot + 1);
    if (!takeInstance(node, address.nNodeInstance) ||
        !takeInstance(variable, address.nVarInstance) || !isNodeName(node) || !isName(variable)) {
        return std::nullopt;
    }
    address.sNode = node;
    address.sVariable = variable;
    return address;
}

std::string formatAddress(const AddressView& address) {
    std::string text;
    if (!address.sNode.empty()) {
        appendWithInstance(text, address.sNode, address.nNodeInstance);
        text += '.';
    }
    appendWithInstance(text, address.sVariable, address.nVarInstance);
    return text;
}

AddressView viewOf(const Address& message) {
    if (message.name().empty()) {
        return {.sNode = message.node(),
                .nNodeInstance = message.node_instance(),
                .sVariable = message.variable(),
                .nVarInstance = message.instance()};
    }
    return parseAddress(message.name())
        .value_or(AddressView{.sNode = {}, .sVariable = message.name()});
}

std::string printable(const AddressView& address) {
    constexpr std::size_t kMaxLoggedBytes = 200;
    return printable(formatAddress(address), kMaxLoggedBytes);
}

bool matchesPattern(std::string_view pattern, std::string_view text) {
    const auto same = [](char a, char b) { return lower(a) == lower(b); };
    const auto isAt = [&](std::string_view part, std::size_t place) {
        return std::ranges::equal(part, text.substr(place, part.size()), same);
    };
    const std::size_t first = pattern.find('*');
    if (first == std::string_view::npos) {
        return isAt(pattern, 0) && pattern.size() == text.size();
    }
    // what comes before the first star and after the last one has its place; between them each part
    // is looked for from where the one before it ends
    const std::string_view head = pattern.substr(0, first);
    const std::string_view tail = pattern.substr(pattern.rfind('*') + 1);
    if (head.size() + tail.size() > text.size() || !isAt(head, 0) ||
        !isAt(tail, text.size() - tail.size())) {
        return false;
    }
    text = text.substr(head.size(), text.size() - head.size() - tail.size());
    pattern = pattern.substr(first, pattern.size() - first - tail.size());
    while (!pattern.empty()) {
        pattern.remove_prefix(1);
        const std::string_view part = pattern.substr(0, pattern.find('*'));
        const auto* const found =
            std::search(text.begin(), text.end(), part.begin(), part.end(), same);
        if (found == text.end() && !part.empty()) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(found - text.begin()) + part.size());
        pattern.remove_prefix(part.size());
    }
    return true;
}

}  // namespace pbcommon
