#include "programs/page/server_connection.h"

#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

namespace focusfall {

namespace {

namespace http = beast::http;
using std::chrono::milliseconds;

constexpr milliseconds NEXT_REQUEST{60'000};  // a kept connection may be silent so long
constexpr milliseconds WRITING{30'000};       // for an answer to be taken
constexpr std::size_t MAX_QUEUED_BYTES = 4
                                         << 20;  // a page that listens and takes nothing
constexpr std::size_t READ_AT_ONCE = 16384;

// Nothing from elsewhere is loaded, run or connected to, nobody frames the page, and its
// address goes nowhere.
constexpr std::pair<const char*, const char*> SAFETY_HEADERS[] = {
    {"Cache-Control", "no-store"},
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; "
     "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
};

template <class Fields>
void set_safety_headers(Fields& fields) {
    for (const auto& [name, value] : SAFETY_HEADERS) fields.set(name, value);
}

template <class Text>
std::string text_of(const Text& text) {
    return {text.data(), text.size()};
}

}  // namespace

server_connection::server_connection(tcp::socket socket,
                                     std::shared_ptr<server_core> server)
    : server_(std::move(server)),
      socket_(std::move(socket)),
      deadline_(server_->io),
      buffer_(server_->limits.max_header_bytes + server_->limits.max_body_bytes +
              READ_AT_ONCE) {}

void server_connection::start() {
    set_deadline(server_->limits.patience);
    wait_for_bytes();
}

void server_connection::close() {
    if (!is_open_.exchange(false)) return;
    beast::error_code ignored;
    socket_.shutdown(tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    deadline_.cancel();
    server_->remove(self());
}

void server_connection::set_deadline(milliseconds from_now) {
    if (!is_open_) return;  // nothing may keep a server that ends waiting
    deadline_.expires_after(from_now);
    deadline_.async_wait([this, keep = self()](beast::error_code error) {
        if (!error) close();
    });
}

// Also while an answer is on its way, so that a peer that goes is noticed at once.
void server_connection::wait_for_bytes() {
    const std::size_t room = buffer_.max_size() - buffer_.size();
    if (room == 0) return close();
    socket_.async_read_some(
        buffer_.prepare(std::min(room, READ_AT_ONCE)),
        [this, keep = self()](beast::error_code error, std::size_t bytes) {
            if (error || is_listener_) return close();  // a listener has no more to say
            buffer_.commit(bytes);
            has_bytes_ = true;
            if (!is_busy_) read_request();
        });
}

void server_connection::read_request() {
    is_busy_ = true;
    has_bytes_ = false;
    parser_.emplace();
    parser_->header_limit(static_cast<std::uint32_t>(server_->limits.max_header_bytes));
    parser_->body_limit(server_->limits.max_body_bytes);
    set_deadline(server_->limits.patience);
    http::async_read(socket_, buffer_, *parser_,
                     [this, keep = self()](beast::error_code error, std::size_t) {
                         deadline_.cancel();
                         if (error) return refuse_unread(error);
                         has_bytes_ = buffer_.size() > 0;
                         if (!has_bytes_) wait_for_bytes();
                         take_request(parser_->get());
                     });
}

void server_connection::refuse_unread(beast::error_code error) {
    keeps_alive_ = false;
    if (error == http::error::body_limit) {
        return write(refused(413, "a request may have " +
                                      std::to_string(server_->limits.max_body_bytes) +
                                      " bytes at most"));
    }
    if (error == http::error::header_limit) {
        return write(refused(431, "the header is too long"));
    }
    const bool is_cut_off =
        error == http::error::end_of_stream || error == http::error::partial_message;
    if (is_cut_off ||
        error.category() != http::make_error_code(http::error::bad_version).category()) {
        return close();
    }
    write(refused(400, "this is no request: " + error.message()));
}

void server_connection::take_request(const http::request<http::string_body>& request) {
    const request_head head{text_of(request.method_string()), text_of(request.target()),
                            text_of(request[http::field::host]),
                            text_of(request[http::field::origin])};
    keeps_alive_ = request.keep_alive();
    page_request accepted;
    const request_rules rules(server_->token, server_->port);
    if (auto refusal = rules.refusal(head, accepted)) {
        keeps_alive_ = false;
        return write(*std::move(refusal));
    }
    if (!server_->rate.allows_one()) {
        return write(refused(429, "too many requests; wait a second"));
    }
    is_trusted_ = true;
    accepted.body = request.body();
    if (accepted.path == "api/events") return begin_to_listen();
    server_->application.answer(accepted, self());
}

void server_connection::send(page_answer answer) {
    if (!is_open_) return;
    net::post(server_->io, [this, keep = self(), answer = std::move(answer)]() mutable {
        if (is_open_) write(std::move(answer));
    });
}

void server_connection::write(page_answer answer) {
    auto response = std::make_shared<http::response<http::string_body>>();
    response->result(static_cast<unsigned>(answer.status));
    response->version(11);
    response->set(http::field::content_type, answer.type);
    set_safety_headers(*response);
    for (const auto& [name, value] : answer.headers) response->set(name, value);
    response->keep_alive(keeps_alive_);
    response->body() = std::move(answer.body);
    response->prepare_payload();
    set_deadline(WRITING);
    http::async_write(
        socket_, *response,
        [this, keep = self(), response](beast::error_code error, std::size_t) {
            finish_answer(error || response->need_eof());
        });
}

void server_connection::finish_answer(bool is_last) {
    if (is_last) return close();
    is_busy_ = false;
    set_deadline(NEXT_REQUEST);
    if (has_bytes_) read_request();
}

void server_connection::begin_to_listen() {
    http::response<http::empty_body> head;
    head.version(11);
    head.result(http::status::ok);
    head.set(http::field::content_type, "text/event-stream");
    set_safety_headers(head);
    std::string text = "HTTP/1.1 200 OK\r\n";
    for (const auto& field : head) {
        text += text_of(field.name_string()) + ": " + text_of(field.value()) + "\r\n";
    }
    is_listener_ = true;
    push(text + "\r\n" + server_->application.greeting());
    server_->add_listener(self());
}

void server_connection::push(const std::string& text) {
    queued_bytes_ += text.size();
    if (queued_bytes_ > MAX_QUEUED_BYTES) return close();
    queue_.push_back(text);
    if (queue_.size() == 1) push_next();
}

void server_connection::push_next() {
    set_deadline(WRITING);
    net::async_write(socket_, net::buffer(queue_.front()),
                     [this, keep = self()](beast::error_code error, std::size_t) {
                         if (error) return close();
                         deadline_.cancel();
                         queued_bytes_ -= queue_.front().size();
                         queue_.pop_front();
                         if (!queue_.empty()) push_next();
                     });
}

}  // namespace focusfall
