#include "host/api/operator.h"

#include <algorithm>
#include <utility>

#include "host/operator_state.h"
#include "host/request_state.h"

using headless::addition;
using headless::control;
using headless::control_info;

const FuID ThreadedOperator::ClassID = "ThreadedOperator";

bool Operator::RegInit(Registry* /*record*/) { return true; }
bool Operator::RegCleanup(Registry* /*record*/) { return true; }

Operator::Operator(Registry* record, const ScriptVal& /*table*/, TagList* /*tags*/)
    : state_(std::make_unique<OperatorState>()) {
    state_->record = record;
}

Operator::~Operator() = default;

FrameForecast Operator::Forecast(Request* /*request*/,
                                 const FrameShape& /*shape*/) const {
    return {};
}

void Operator::NotifyChanged(Input* input, Parameter* param, TimeStamp time,
                             TagList* tags) {
    const auto* known = dynamic_cast<const control*>(input);
    state_->last_base_notification = {.id = known ? known->info().id : "",
                                      .time = time,
                                      .null_parameter = param == nullptr,
                                      .null_tags = tags == nullptr};
    ++state_->base_notifications;
}

const char* Operator::ControlHelp(const FuID& /*id*/) const { return nullptr; }

FusionDoc* Operator::Document() { return state_->document; }

void Operator::AddControlPageList(const FuID& name, const TagList& tags) {
    state_->additions.push_back({addition::what::PAGE, name.Text(), "", tags});
    state_->page = name.Text();
}

Input* Operator::AddInputList(const FuID& name, const FuID& id, const TagList& tags) {
    state_->additions.push_back({addition::what::INPUT, name.Text(), id.Text(), tags});
    control_info info(state_->page, name, id, tags);
    const auto known = std::ranges::find_if(
        state_->controls, [&](const auto& c) { return c->info().id == id.Text(); });
    if (known != state_->controls.end()) {
        info.page = (*known)->info().page;
        (*known)->describe(std::move(info));
        return known->get();
    }

    Owned<control> added(new control(std::move(info), state_->group));
    state_->controls.push_back(std::move(added));
    return state_->controls.back().get();
}

Output* Operator::AddOutputList(const FuID& name, const FuID& id, const TagList& tags) {
    state_->additions.push_back({addition::what::OUTPUT, name.Text(), id.Text(), tags});
    const auto known = std::ranges::find_if(
        state_->outputs, [&](const auto& output) { return output->id() == id.Text(); });
    if (known != state_->outputs.end()) return known->get();

    Owned<headless::result_output> added(new headless::result_output(id.Text()));
    state_->outputs.push_back(std::move(added));
    return state_->outputs.back().get();
}

void Operator::BeginStep(double end) { state_->progress.begin_step(end); }

void Operator::ReportStep(double part) {
    // what stops is not done, even when all its chunks have returned
    if (!IsAborted()) state_->progress.report(part);
}

void ThreadedOperator::DoMultiProcess(Request* request, std::int32_t chunks) {
    OperatorState& state = HostState();
    headless::progress_function progress;
    if (state.progress.is_wanted()) {
        progress = [this](std::int32_t done, std::int32_t all) {
            ReportStep(done < all ? static_cast<double>(done) / all : 1.0);
        };
    }
    state.workers->run(
        chunks, [&](std::int32_t chunk) { ProcessChunk(request, chunk); }, progress);
}

void headless::result_output::SetList(Request* request, Image* image,
                                      const TagList& /*tags*/) {
    request->HostState().results[this] = Owned<Image>(image);
}
