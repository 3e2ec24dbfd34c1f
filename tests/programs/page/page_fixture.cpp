#include "tests/programs/page/page_fixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace focusfall {

namespace {

constexpr int PATIENCE_MS = 5000;

}  // namespace

raw_client::raw_client(int port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int status =
        connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    EXPECT_EQ(status, 0);
}

raw_client::~raw_client() { close(socket_); }

void raw_client::send(const std::string& bytes) const {
    // what the server refuses it may not read to its end
    ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

bool raw_client::receive() {
    pollfd waiting{socket_, POLLIN, 0};
    char bytes[65536];
    if (poll(&waiting, 1, PATIENCE_MS) != 1) return false;
    const ssize_t count = recv(socket_, bytes, sizeof bytes, 0);
    if (count <= 0) return false;
    left_.append(bytes, static_cast<std::size_t>(count));
    return true;
}

std::string raw_client::read_until(const std::string& end) {
    while (left_.find(end) == left_.npos && receive()) {
    }
    const std::size_t found = left_.find(end);
    const std::size_t size = found == left_.npos ? left_.size() : found + end.size();
    std::string text = left_.substr(0, size);
    left_.erase(0, size);
    return text;
}

std::string raw_client::read_answer() {
    std::string head = read_until("\r\n\r\n");
    const std::string name = "Content-Length: ";
    const std::size_t length = head.find(name);
    if (length == head.npos) return head;
    const std::size_t wanted = std::stoul(head.substr(length + name.size()));
    while (left_.size() < wanted && receive()) {
    }
    head += left_.substr(0, wanted);
    left_.erase(0, wanted);
    return head;
}

bool raw_client::is_closed_within(int milliseconds) const {
    pollfd waiting{socket_, POLLIN, 0};
    if (poll(&waiting, 1, milliseconds) != 1) return false;
    char byte = 0;
    return recv(socket_, &byte, 1, MSG_PEEK) <= 0;
}

std::string got_answer::header(const std::string& name) const {
    const std::size_t at = head.find("\r\n" + name + ": ");
    if (at == head.npos) return "";
    const std::size_t start = at + name.size() + 4;
    return head.substr(start, head.find("\r\n", start) - start);
}

void page_test::serve(const server_limits& limits, std::vector<int> frames) {
    shot.input = write_scene("in.exr", {0, 0, 96, 64}, {0, 0, 96, 64});
    if (!frames.empty()) {
        write_frames(static_cast<int>(frames.size()));
        shot.input = path("in.####.exr");
        shot.frames = std::move(frames);
    }
    session_options options;
    options.plugins = {FAST_PLUGIN_FILE, LAYERED_PLUGIN_FILE};
    options.threads = 2;
    opened = std::make_unique<session>(options);
    shot.tool_id = opened->tool_class().id;
    shot.version = "test";
    tool = opened->create_tool();
    requests = std::make_unique<page_requests>(shot, *opened, *tool);
    server = std::make_unique<page_server>(0, *requests, limits);
    requests->connect(server->link());
    server->start();
}

void page_test::TearDown() {
    if (server) server->stop();
    requests.reset();
    server.reset();
}

int page_test::port() const {
    const std::string address = server->address();
    return std::stoi(address.substr(address.rfind(':') + 1));
}

std::string page_test::token() const {
    const std::string address = server->address();
    const std::size_t start = address.find('/', address.rfind(':')) + 1;
    return address.substr(start, address.size() - 1 - start);
}

std::string page_test::request(const std::string& method, const std::string& path,
                               const std::string& body) const {
    const std::string host = std::string("127.0.0.1:").append(std::to_string(port()));
    std::string text = method + " /" + token() + "/" + path +
                       " HTTP/1.1\r\nHost: " + host + "\r\nOrigin: http://" + host +
                       "\r\n";
    if (method == "POST") {
        text += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }
    return text + "\r\n" + body;
}

got_answer page_test::asked(const std::string& bytes) const {
    raw_client client(port());
    client.send(bytes);
    const std::string text = client.read_answer();
    got_answer answer;
    const std::size_t end = text.find("\r\n\r\n");
    if (end == text.npos) return answer;
    answer.status = std::stoi(text.substr(text.find(' ')));
    answer.head = text.substr(0, end + 2);
    answer.body = text.substr(end + 4);
    return answer;
}

}  // namespace focusfall
