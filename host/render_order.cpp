#include "host/render_order.h"

#include <exception>
#include <utility>

#include "host/headless_host.h"
#include "host/operator_state.h"
#include "host/request_state.h"
#include "host/text.h"

namespace headless {

namespace {

// `given` as the control takes it. Throws host_error for a value of another kind.
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

// Takes all values now, so that edits during the render show in the next frame only.
std::unique_ptr<Request::State> tool::snapshot(const render_order& order) const {
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
        input.check_image(image);
        values->values[&input] = Shared(image);
    }
    return values;
}

FrameForecast tool::forecast(const render_order& order, const FrameShape& shape) const {
    Request request(snapshot(order));
    return operator_->Forecast(&request, shape);
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
