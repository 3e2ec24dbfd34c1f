// Any bytes as what a page asks for, chosen by the first letter: "h" the head of a
// request, a line each for method, target, host and origin; "q" a path with its query;
// others the JSON of an edit. Everything is answered or refused by a line, and whatever
// was edited, the values are finite and the state can be sent.

#include <cmath>
#include <map>
#include <sstream>

#include "pipeline/pictures/image_file.h"
#include "programs/page/page_paths.h"
#include "programs/page/page_requests.h"
#include "programs/page/request_rules.h"
#include "tests/fuzz/fuzzing.h"

using namespace focusfall;

namespace {

// Keeps what it is sent.
class kept_answer : public pending_answer {
  public:
    void send(page_answer answer) override { got = std::move(answer); }
    bool is_wanted() const override { return false; }

    std::optional<page_answer> got;
};

const std::map<char, std::string> EDITS{
    {'s', "api/set"},    {'r', "api/replace"}, {'f', "api/focus"},
    {'t', "api/frame"},  {'z', "api/reset"},   {'u', "api/undo"},
    {'p', "api/preset"}, {'o', "api/open"},    {'k', "api/tool"}};

// A picture of 32 x 24 pixels that get nearer to the right, in a folder of its own, which
// is the present one from then on.
std::string made_picture() {
    namespace fs = std::filesystem;
    const fs::path folder =
        fs::temp_directory_path() / ("focusfall-fuzz-page-" + std::to_string(getpid()));
    fs::create_directories(folder);
    fs::current_path(folder);
    const Owned<Image> image(new Image(32, 24, 5));
    for (int i = 0; i < 32 * 24; ++i) {
        float* pixel = image->Pixel(i % 32, i / 32);
        for (int c = 0; c < 4; ++c) pixel[c] = 1.0F;
        pixel[Image::Z] = static_cast<float>(1000 - 10 * (i % 32));
    }
    write_image(*image, "in.exr");
    return "in.exr";
}

struct page {
    page()
        : opened([] {
              session_options options;
              options.plugins = {PLUGIN_FILE};
              options.threads = 1;
              return options;
          }()),
          tool(opened.create_tool()) {
        shot.input = made_picture();
        shot.tool_id = opened.tool_class().id;
        requests = std::make_unique<page_requests>(shot, opened, *tool);
    }

    page_answer asked(const page_request& request) const {
        const auto answer = std::make_shared<kept_answer>();
        requests->answer(request, answer);
        return answer->got.value_or(page_answer{.status = 204});
    }

    session opened;
    std::unique_ptr<headless::tool> tool;
    shot_options shot;
    std::unique_ptr<page_requests> requests;
};

page& the_page() {
    static page one;
    return one;
}

void check_answer(const page_answer& answer) {
    expect(answer.status < 500, answer.body);
    if (answer.status < 400) return;
    expect(answer.body.ends_with('\n'), "a refusal without its line: " + answer.body);
}

void check_head(const std::string& text) {
    std::istringstream lines(text);
    request_head head;
    for (std::string* part : {&head.method, &head.target, &head.host, &head.origin}) {
        std::getline(lines, *part);
    }
    page_request request;
    const request_rules rules("token", 80);
    if (const auto refusal = rules.refusal(head, request)) return check_answer(*refusal);
    expect(head.target.starts_with("/token/"), "the token is not asked for");
    expect(request.path.find("..") == std::string::npos, "a path leads upwards");
}

void check_values(const headless::tool& tool) {
    for (const headless::control* control : tool.controls()) {
        if (!control->info().is_number()) continue;
        expect(std::isfinite(control->number(0)), control->info().id + " is not finite");
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    auto folder = corpus_folder(*argc, *argv);
    if (!folder.empty()) folder = std::filesystem::absolute(folder);
    the_page();
    if (folder.empty()) return 0;
    int seeds = 0;
    for (const char* text :
         {"hGET\n/token/api/state?x=%20&y\n127.0.0.1:80\nhttp://127.0.0.1:80",
          "qapi/pixel?x=3&y=4", "qapi/picture?view=depth&exposure=-1.5&transform=soft",
          "qapi/line?output=a%27b.exr", R"(s{"id":"FStop","value":2.8,"group":"a"})",
          R"(s{"id":"BlurStyle","value":"Airy Disk"})",
          R"(r{"id":"FocusPosition","value":[[1,300],[24,9e2],"smooth"]})",
          R"(f{"x":3,"y":4,"group":"drag"})", R"(t{"frame":0})", R"(z{"id":"FStop"})",
          "u{}", R"(k{"tool":"fast"})", R"(p{"name":"super-35"})",
          R"(o{"file":"in.json"})"}) {
        std::ofstream(folder / ("seed-" + std::to_string(++seeds))) << text;
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return -1;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const char kind = static_cast<char>(data[0]);
    if (kind == 'h') {
        check_head(text);
    } else if (kind == 'q') {
        page_request request;
        const request_rules rules("token", 80);
        const request_head head{"GET", "/token/" + text, "localhost:80", ""};
        if (rules.refusal(head, request)) return 0;
        check_answer(the_page().asked(request));
    } else if (EDITS.contains(kind)) {
        check_answer(the_page().asked({"POST", EDITS.at(kind), {}, text}));
        check_values(*the_page().tool);
        check_answer(the_page().asked({"GET", "api/state", {}, ""}));
        check_answer(the_page().asked({"POST", "api/reset", {}, "{}"}));
    } else {
        return -1;
    }
    return 0;
}
