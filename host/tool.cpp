#include "host/tool.h"

#include <cmath>
#include <exception>
#include <utility>

#include "host/operator_state.h"
#include "host/pixel_memory.h"
#include "host/plugin_library.h"
#include "host/request_state.h"
#include "host/text.h"

namespace headless {

namespace {

// `given` as the control accepts it. Throws host_error for a value that it cannot take.
Owned<Parameter> ordered_value(const control& input, const render_order::value& given) {
    const auto* words = std::get_if<std::string>(&given);
    if (words && !input.info().is_number()) {
        return Owned<Parameter>(
            new Text(std::get<std::string>(input.allowed(control_value(*words)))));
    }
    const double number = words ? input.info().parse(*words) : std::get<double>(given);
    const control_value taken = input.allowed(animation(number));
    return Owned<Parameter>(new Number(std::get<animation>(taken).at(0)));
}

// Throws host_error when an image is missing without which the tool renders nothing.
void check_connected(const Request::State& values) {
    for (const auto& [input, value] : values.values) {
        const control_info& info = static_cast<const control*>(input)->info();
        if (!value && info.required)
            throw host_error(info.id + ": no image is connected");
    }
}

}  // namespace

tool::tool(std::shared_ptr<plugin_library> library, Registry* record,
           worker_pool& workers, FusionDoc::Console console)
    : library_(std::move(library)),
      document_(
          [this, console = std::move(console)](int sub_id, const std::string& text) {
              if (sub_id == FusionDoc::ERRORS) {
                  const std::scoped_lock lock(error_mutex_);
                  printed_error_ = without_line_end(text);
              }
              if (console) console(sub_id, text);
          }) {
    auto* factory = record->Tags().Pointer<ToolFactory>(0x60000000);
    if (!factory) throw host_error(record->ID().Text() + ": the class has no factory");
    TagList tags;
    operator_.reset(factory(record, ScriptVal(), &tags));
    if (!operator_) throw host_error(record->ID().Text() + ": no memory for a tool");
    operator_->HostState().document = &document_;
    operator_->HostState().workers = &workers;
    for (const auto& input : operator_->HostState().controls) {
        const char* help = operator_->ControlHelp(FuID(input->info().id));
        if (help) input->explain(help);
    }
}

tool::~tool() = default;

std::vector<const control*> tool::controls() const {
    std::vector<const control*> all;
    for (const auto& one : operator_->HostState().controls) all.push_back(one.get());
    return all;
}

const control& tool::find(std::string_view id) const {
    std::vector<std::string> names;
    for (const control* one : controls()) {
        if (one->info().id == id) return *one;
        names.push_back(one->info().id);
    }
    throw host_error("there is no control \"" + std::string(id) + "\"" +
                     suggestion(id, names));
}

// Takes all values now, so that edits during the render show in the next frame only.
std::unique_ptr<Request::State> tool::snapshot(const render_order& order) const {
    if (std::isnan(order.time)) throw host_error("the time of a frame is not a number");
    auto values = std::make_unique<Request::State>();
    values->time = order.time;
    for (const auto& input : operator_->HostState().controls) {
        values->values[input.get()] = Owned<Parameter>(input->GetSource(order.time));
    }
    for (const auto& [id, value] : order.instead) {
        const control& input = find(id);
        values->values[&input] = ordered_value(input, value);
    }
    for (const auto& [id, image] : order.images) {
        const control& input = find(id);
        input.check_takes_images();
        values->values[&input] = Shared(image);
    }
    return values;
}

FrameForecast tool::forecast(const render_order& order, const FrameShape& shape) const {
    Request request(snapshot(order));
    return operator_->Forecast(&request, shape);
}

void tool::trim() {
    operator_->ReleaseFrameMemory();
    forget_kept_pixels();
}

frame tool::render(const render_order& order) {
    OperatorState& state = operator_->HostState();
    frame result;
    {
        const std::scoped_lock lock(error_mutex_);
        printed_error_.clear();
    }
    try {
        Request request(snapshot(order));
        check_connected(request.HostState());
        state.progress = progress_counter(order.progress);
        operator_->Process(&request);
        // the tool's first output is its picture
        if (!state.outputs.empty()) {
            result.image = std::move(request.HostState().results[state.outputs[0].get()]);
        }
        if (result.image) state.progress.finish();
    } catch (const std::exception& error) {
        result.image.reset();
        result.error = without_line_end(error.what());
        return result;
    } catch (...) {
        result.image.reset();
        result.error = "the tool failed without saying why";
        return result;
    }

    const std::scoped_lock lock(error_mutex_);
    if (result.image) {
        result.how = frame::end::DONE;
    } else if (operator_->IsAborted() && printed_error_.empty()) {
        result.how = frame::end::ABORTED;
    } else {
        result.error = printed_error_.empty() ? "the tool gave no image" : printed_error_;
    }
    return result;
}

}  // namespace headless
