// Whom the server lets in, and that nothing that others do keeps it from its page.

#include <algorithm>

#include "tests/programs/page/page_fixture.h"

namespace focusfall {
namespace {

class page_servers : public page_test {};

// A request with its parts replaced.
std::string with(std::string text, const std::string& part, const std::string& by) {
    const std::size_t at = text.find(part);
    EXPECT_NE(at, text.npos) << part;
    return text.replace(at, part.size(), by);
}

TEST_F(page_servers, LetInNobodyWithoutTheTokenOrFromAnotherSite) {
    serve();
    const std::string good = request("GET", "api/state");
    ASSERT_EQ(asked(good).status, 200);
    const std::string here = std::string("127.0.0.1:").append(std::to_string(port()));
    const std::string origin = "Origin: http://" + here;
    const std::string host = "Host: " + here;
    const struct {
        const char* what;
        std::string request;
        int status;
    } refusals[] = {
        {"no token", with(good, token() + "/", ""), 403},
        {"a wrong token", with(good, token(), std::string(32, '0')), 403},
        {"half a token", with(good, token(), token().substr(0, 16)), 403},
        {"the token and more", with(good, token(), token() + "0"), 403},
        {"a foreign origin", with(good, origin, "Origin: http://example.com"), 403},
        {"another port's origin", with(good, origin, "Origin: http://127.0.0.1:1"), 403},
        {"an origin that is a file", with(good, origin, "Origin: null"), 403},
        {"a foreign host", with(good, host, "Host: example.com"), 403},
        {"no host", with(good, host + "\r\n", ""), 403},
        {"another method", with(good, "GET", "DELETE"), 405},
        {"a folder above", with(good, "api/state", "../../etc/passwd"), 400},
        {"an encoded folder above", with(good, "api/state", "%2e%2e/etc/passwd"), 400},
        {"an absolute path", with(good, "api/state", "/etc/passwd"), 404},
        {"an unknown file", with(good, "api/state", "passwd"), 404},
        {"a damaged query", with(good, "api/state", "api/pixel?x=%zz"), 400},
        {"no request", "hello\r\n\r\n", 400},
    };
    for (const auto& [what, text, status] : refusals) {
        const got_answer answer = asked(text);
        EXPECT_EQ(answer.status, status) << what;
        EXPECT_EQ(std::ranges::count(answer.body, '\n'), 1)
            << what << ": " << answer.body;
        EXPECT_EQ(answer.body.find(token()), answer.body.npos) << what;
    }
    EXPECT_EQ(asked(good).status, 200);
    EXPECT_EQ(asked(with(good, origin + "\r\n", "")).status, 200) << "no browser";
}

TEST_F(page_servers, SendThePageWithAStrictPolicy) {
    serve();
    for (const char* file :
         {"", "style.css", "app.js", "panel.js", "picture.js", "server.js", "icon.svg"}) {
        const got_answer answer = get(file);
        EXPECT_EQ(answer.status, 200) << file;
        EXPECT_FALSE(answer.body.empty()) << file;
        EXPECT_TRUE(
            answer.header("Content-Security-Policy").starts_with("default-src 'none'"));
        EXPECT_EQ(answer.header("Referrer-Policy"), "no-referrer");
    }
    EXPECT_NE(get("").header("Content-Type").find("text/html"), std::string::npos);
    EXPECT_EQ(post("app.js").status, 405);
}

TEST_F(page_servers, RefuseWhatIsTooLarge) {
    serve();
    const std::string large(100'000, 'x');
    EXPECT_EQ(asked(request("POST", "api/set", large)).status, 413);
    const std::string head =
        with(request("GET", "api/state"), "Host:", "X: " + large + "\r\nHost:");
    EXPECT_EQ(asked(head).status, 431);
    // one that only promises to be
    EXPECT_EQ(asked(with(request("POST", "api/set", ""), "Content-Length: 0",
                         "Content-Length: 99999999999"))
                  .status,
              413);
}

TEST_F(page_servers, RefuseEditsThatMakeNoSense) {
    serve();
    const page_json before = get("api/state").json();
    const struct {
        const char* path;
        std::string body;
    } refusals[] = {
        {"api/set", ""},
        {"api/set", "{"},
        {"api/set", "[]"},
        {"api/set", R"({"id": "MaxBlurSize"})"},
        {"api/set", R"({"id": 3, "value": 1})"},
        {"api/set", R"({"id": "Nothing", "value": 1})"},
        {"api/set", R"({"id": "MaxBlurSize", "value": [1]})"},
        {"api/set", R"({"id": "MaxBlurSize", "value": 1e999})"},
        {"api/set", R"({"id": "BlurStyle", "value": "Triangle"})"},
        {"api/set", R"({"a":[[[[[[[[[[]]]]]]]]]]})"},
        {"api/replace", R"({"id": "MaxBlurSize", "value": [[1, 2], [1, 3]]})"},
        {"api/focus", R"({"x": 1.5, "y": 2})"},
        {"api/focus", R"({"x": 96, "y": 2})"},
        {"api/frame", R"({"frame": 7})"},
        {"api/unknown", "{}"},
    };
    for (const auto& [path, body] : refusals) {
        const got_answer answer = asked(request("POST", path, body));
        EXPECT_EQ(answer.status, 400) << path << " " << body << ": " << answer.body;
        EXPECT_EQ(std::ranges::count(answer.body, '\n'), 1) << answer.body;
    }
    EXPECT_EQ(get("api/state").json().at("values"), before.at("values"));
    for (const char* path : {"api/picture?view=none", "api/picture?exposure=21",
                             "api/picture?version=x", "api/pixel?x=-1&y=0"}) {
        EXPECT_EQ(get(path).status, 400) << path;
    }
}

TEST_F(page_servers, AnswerTheirPageWhileHundredsOfOthersSayNothing) {
    server_limits limits;
    limits.max_connections = 100;
    serve(limits);
    raw_client page(port());
    page.send(request("GET", "api/state"));
    ASSERT_NE(page.read_answer().find("200 OK"), std::string::npos);

    std::vector<std::unique_ptr<raw_client>> silent;
    for (int i = 0; i < 200; ++i) {
        silent.push_back(std::make_unique<raw_client>(port()));
        if (i % 2 == 0) silent.back()->send("GET /half");
    }
    // the one that is open, and a new one
    page.send(request("GET", "api/state"));
    EXPECT_NE(page.read_answer().find("200 OK"), std::string::npos);
    EXPECT_EQ(get("api/picture").status, 200);
    EXPECT_TRUE(silent.front()->is_closed_within(2000));
}

TEST_F(page_servers, EndConnectionsThatDoNotGoOn) {
    server_limits limits;
    limits.patience = std::chrono::milliseconds(100);
    serve(limits);
    const raw_client silent(port());
    raw_client half(port());
    half.send("POST /" + token() + "/api/set HTTP/1.1\r\nContent-Length: 10\r\n\r\n{");
    EXPECT_TRUE(silent.is_closed_within(3000));
    EXPECT_TRUE(half.is_closed_within(3000));
}

TEST_F(page_servers, LimitTheRequestsOfASecond) {
    server_limits limits;
    limits.max_requests_a_second = 20;
    serve(limits);
    raw_client client(port());
    int refusals = 0;
    for (int i = 0; i < 60; ++i) {
        client.send(request("GET", "api/pixel?x=1&y=1"));
        if (client.read_answer().find("429") != std::string::npos) ++refusals;
    }
    EXPECT_GT(refusals, 10);
}

TEST_F(page_servers, TellEveryPageOfEdits) {
    serve();
    EXPECT_EQ(server->time_alone().count(), 0);
    {
        raw_client first(port());
        raw_client second(port());
        for (raw_client* page : {&first, &second}) {
            page->send(request("GET", "api/events"));
            const std::string first_words = page->read_until("\n\n");
            EXPECT_NE(first_words.find("text/event-stream"), std::string::npos);
            EXPECT_NE(first_words.find("event: state"), std::string::npos);
        }
        post("api/set", {{"id", "MaxBlurSize"}, {"value", 7.5}});
        for (raw_client* page : {&first, &second}) {
            EXPECT_NE(page->read_until("\n\n").find("7.5"), std::string::npos);
        }
        EXPECT_EQ(server->time_alone().count(), 0);
    }
    for (int i = 0; i < 100 && server->time_alone().count() == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_GT(server->time_alone().count(), 0);
}

}  // namespace
}  // namespace focusfall
