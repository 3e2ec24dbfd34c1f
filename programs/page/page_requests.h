#pragma once
// What a page may ask for. docs/page.md describes every request.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pipeline/inspection/pixel_report.h"
#include "pipeline/session/session.h"
#include "pipeline/shots/shot_options.h"
#include "programs/page/messages.h"
#include "programs/page/page_settings.h"
#include "programs/page/picture_maker.h"
#include "programs/page/render_job.h"

namespace focusfall {

// Answers requests about one picture or shot. Give it to a server, and stop the server
// before it goes.
class page_requests : public page_application {
  public:
    // `tool`, of the shot's class and the session, has the settings to begin with.
    // Throws headless::host_error when the first frame cannot be read.
    page_requests(const shot_options& shot, session& opened, headless::tool& tool);

    // To its server; call it before the first request comes.
    void connect(page_link link) { link_ = std::move(link); }

    void answer(const page_request& request, std::shared_ptr<pending_answer> to) override;
    std::string greeting() override { return event_text("state", state().dump()); }

  private:
    bool must_wait(const page_request& request) const;
    void take_frame(int frame, const std::string& error);
    page_answer answered(const page_request& request);
    page_answer edited(const page_request& request);
    void wait_for_picture(const page_request& request,
                          const std::shared_ptr<pending_answer>& to);
    page_json state() const;
    page_json pixel(const page_request& request);
    page_json line(const page_request& request);
    page_json save(const page_json& body);
    page_json render(const page_json& body);
    void edit(const std::string& what, const page_json& body);
    void set_focus(const page_json& body);
    void take_tool(const std::string& name);
    headless::class_info tool_class() const;
    page_json tool_names() const;
    void show(int frame);
    const frame_probe& probe();

    const shot_options shot_;
    session& session_;
    page_link link_;
    std::map<std::string, headless::tool*> tools_;  // that were shown, by class
    std::vector<std::unique_ptr<headless::tool>> further_tools_;
    page_settings settings_;
    // those that ask about a frame which is still being read
    std::vector<std::pair<page_request, std::shared_ptr<pending_answer>>> waiting_;
    std::optional<std::string> frame_fault_;  // why the frame on show cannot be read
    // of the frame on show; made when it is needed
    std::shared_ptr<const shown_frame> probed_frame_;
    const headless::tool* probing_tool_ = nullptr;
    std::unique_ptr<frame_probe> probe_;
    std::unique_ptr<render_job> job_;  // the last one
    picture_maker maker_;              // last: its thread tells of frames
};

}  // namespace focusfall
