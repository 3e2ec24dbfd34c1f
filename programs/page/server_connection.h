#pragma once
// One connection of the server, which takes one request after the other.

#include <atomic>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>

#include "programs/page/server_core.h"

namespace focusfall {

namespace beast = boost::beast;

// The handlers of what is under way keep it alive. [the server's thread, but for the
// functions of pending_answer]
class server_connection : public pending_answer,
                          public std::enable_shared_from_this<server_connection> {
  public:
    server_connection(tcp::socket socket, std::shared_ptr<server_core> server);

    void start();
    void close();
    // Whether a request of it was let in.
    bool is_trusted() const { return is_trusted_; }
    // Sends text to a page that listens.
    void push(const std::string& text);

    void send(page_answer answer) override;
    bool is_wanted() const override { return is_open_; }

  private:
    using request_parser = beast::http::request_parser<beast::http::string_body>;
    using self_pointer = std::shared_ptr<server_connection>;

    void wait_for_bytes();
    void read_request();
    void take_request(const beast::http::request<beast::http::string_body>& request);
    void refuse_unread(beast::error_code error);
    void write(page_answer answer);
    void finish_answer(bool is_last);
    void begin_to_listen();
    void push_next();
    void set_deadline(std::chrono::milliseconds from_now);
    self_pointer self() { return shared_from_this(); }

    std::shared_ptr<server_core> server_;  // whoever is still to answer keeps it alive
    tcp::socket socket_;
    net::steady_timer deadline_;
    beast::flat_buffer buffer_;
    std::optional<request_parser> parser_;
    // a request is read or answered: bytes that come now belong to the next one
    bool is_busy_ = false;
    bool has_bytes_ = false;
    bool keeps_alive_ = true;
    bool is_trusted_ = false;
    bool is_listener_ = false;
    std::deque<std::string> queue_;  // what a listener is still to get
    std::size_t queued_bytes_ = 0;
    std::atomic<bool> is_open_ = true;
};

}  // namespace focusfall
