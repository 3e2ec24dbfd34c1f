#include "programs/page/request_rules.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "host/error.h"

namespace focusfall {

namespace {

constexpr std::size_t MAX_QUERY_VALUES = 16;

// Takes as long wherever the first difference is, so that the time tells nothing.
bool same_secret(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
    }
    return difference == 0;
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// `text` with "%2F" and "+" replaced by what they stand for.
std::optional<std::string> decoded(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            plain += text[i] == '+' ? ' ' : text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? hex_digit(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? hex_digit(text[i + 2]) : -1;
        if (high < 0 || low < 0) return std::nullopt;
        plain += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return plain;
}

// Names of requests and files of the page: nothing else is asked for.
bool is_plain_path(std::string_view path) {
    return path.find("..") == path.npos && std::ranges::all_of(path, [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '/' ||
                      c == '.' || c == '_' || c == '-';
           });
}

bool take_query(std::string_view text, page_request& request) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('&'), text.size());
        const std::string_view pair = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t equals = std::min(pair.find('='), pair.size());
        const auto name = decoded(pair.substr(0, equals));
        const auto value = decoded(pair.substr(std::min(equals + 1, pair.size())));
        if (!name || !value || request.query.size() == MAX_QUERY_VALUES) return false;
        request.query[*name] = *value;
    }
    return true;
}

}  // namespace

std::string random_token() {
    std::array<unsigned char, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw headless::host_error("the system gives no random numbers");
    }
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte / 16];
        text += "0123456789abcdef"[byte % 16];
    }
    return text;
}

std::optional<page_answer> request_rules::refusal(const request_head& head,
                                                  page_request& request) const {
    const std::string address = std::string("127.0.0.1:").append(std::to_string(port_));
    const std::string name = std::string("localhost:").append(std::to_string(port_));
    if (head.host != address && head.host != name) {
        return refused(403, "this server answers to " + address + " only");
    }
    if (!head.origin.empty() && head.origin != "http://" + head.host) {
        return refused(403, "other sites may not send requests");
    }
    const std::string_view target = head.target;
    const std::size_t end = std::min(target.find('/', 1), target.size());
    if (end < 1 || target[0] != '/' || !same_secret(target.substr(1, end - 1), token_)) {
        return refused(403, "the address lacks its token; open the one that was printed");
    }
    if (head.method != "GET" && head.method != "POST") {
        return refused(405, "only GET and POST are understood");
    }
    if (end == target.size()) return refused(404, "the address ends in a slash");
    const std::string_view rest = target.substr(end + 1);
    const std::size_t question = std::min(rest.find('?'), rest.size());
    request.method = head.method;
    request.path = rest.substr(0, question);
    if (!is_plain_path(request.path)) return refused(400, "there is no such path");
    const std::string_view query = rest.substr(std::min(question + 1, rest.size()));
    if (!take_query(query, request)) return refused(400, "the query is damaged");
    return std::nullopt;
}

}  // namespace focusfall
