#pragma once
// What the tests of the page share: a page on a port of its own, and a client that may
// send what no browser would.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "pipeline/session/session.h"
#include "programs/page/page_requests.h"
#include "programs/page/server.h"
#include "tests/support/made_pictures.h"

namespace focusfall {

// A connection to this machine. Reading waits five seconds at most.
class raw_client {
  public:
    explicit raw_client(int port);
    ~raw_client();
    raw_client(const raw_client&) = delete;
    raw_client& operator=(const raw_client&) = delete;

    void send(const std::string& bytes) const;
    // All that comes until `end` is in it, or the connection ends.
    std::string read_until(const std::string& end);
    // The next answer: its head, and as much of a body as it says there is.
    std::string read_answer();
    // Whether the server ends the connection within that time.
    bool is_closed_within(int milliseconds) const;

  private:
    // Whether more came, in time.
    bool receive();

    int socket_;
    std::string left_;  // read, and not yet given
};

struct got_answer {
    int status = 0;
    std::string head;
    std::string body;

    page_json json() const { return page_json::parse(body); }
    std::string header(const std::string& name) const;
};

class page_test : public testing::Test, protected picture_folder {
  protected:
    // Serves a page of a scene of 96 x 64 pixels that get nearer to the right.
    void serve(const server_limits& limits = {}, std::vector<int> frames = {});
    void TearDown() override;

    int port() const;
    std::string token() const;
    // The head of a request as the page sends it; `path` stands behind the token.
    std::string request(const std::string& method, const std::string& path,
                        const std::string& body = "") const;
    // Asks on a connection of its own.
    got_answer asked(const std::string& bytes) const;
    got_answer get(const std::string& path) const { return asked(request("GET", path)); }
    got_answer post(const std::string& path,
                    const page_json& body = page_json::object()) const {
        return asked(request("POST", path, body.dump()));
    }
    // The value of a control in an answer or an event.
    static page_json value(const page_json& state, const std::string& id) {
        return state.at("values").at(id).at("value");
    }

    shot_options shot;
    std::unique_ptr<session> opened;
    std::unique_ptr<headless::tool> tool;
    std::unique_ptr<page_requests> requests;
    std::unique_ptr<page_server> server;
};

}  // namespace focusfall
