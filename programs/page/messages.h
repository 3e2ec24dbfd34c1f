#pragma once
// What page and server say to each other.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace focusfall {

// A request that was let in.
struct page_request {
    std::string method;  // "GET" or "POST"
    std::string path;    // behind the token, as in "api/edit"; empty: the page itself
    std::map<std::string, std::string> query;
    std::string body;
};

struct page_answer {
    int status = 200;
    std::string type = "application/json";
    std::string body = {};
    std::vector<std::pair<std::string, std::string>> headers = {};
};

// A refusal: one line of text.
inline page_answer refused(int status, const std::string& why) {
    return {status, "text/plain; charset=utf-8", why + "\n"};
}

// Where the answer to a request goes, now or later. A shared handle.
class pending_answer {
  public:
    virtual ~pending_answer() = default;
    // Sends it, once; does nothing when the one who asked has gone. The server must
    // still be there. [any thread]
    virtual void send(page_answer answer) = 0;
    // False once the one who asked has gone. [any thread]
    virtual bool is_wanted() const = 0;
};

// What an application may ask of its server, from any thread. Once the server has stopped
// nothing happens any more.
struct page_link {
    // Sends an event, see event_text, to all pages that listen.
    std::function<void(const std::string& event)> tell = [](const std::string&) {};
    // Runs work on the server's thread, between two requests.
    std::function<void(std::function<void()> work)> run = [](const auto&) {};
};

// What answers requests. Everything is called on the server's thread and should return
// soon.
class page_application {
  public:
    virtual ~page_application() = default;
    virtual void answer(const page_request& request,
                        std::shared_ptr<pending_answer> to) = 0;
    // The first event for a page that begins to listen, in the form of `event_text`.
    virtual std::string greeting() = 0;
};

// A server-sent event; `data` is one line.
inline std::string event_text(const std::string& name, const std::string& data) {
    return "event: " + name + "\ndata: " + data + "\n\n";
}

}  // namespace focusfall
