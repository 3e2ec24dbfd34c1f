#include "host/headless_host.h"

#include <algorithm>
#include <utility>

#include "host/error.h"
#include "host/plugin_library.h"
#include "host/text.h"

namespace headless {

namespace {

class_info described(const Registry& record) {
    const TagList& tags = record.Tags();
    const auto* base = tags.Pointer<const FuID>(0x60000011);
    return {.id = record.ID().Text(),
            .name = tags.Text(0x30000002),
            .category = tags.Text(0x30000003),
            .short_name = tags.Text(0x30000004),
            .description = tags.Text(0x30000005),
            .about = tags.Text(0x30000007),
            .company = tags.Text(0x30000009),
            .build_date = tags.Text(0x30000008),
            .help_link = tags.Text(0x3000000a),
            .base_class = base ? base->Text() : "",
            .bitmap = tags.Integer(0x10000004, 0),
            .tags = tags};
}

[[noreturn]] void fail_unknown(const std::string& what, std::string_view name,
                               const std::vector<std::string>& names) {
    throw host_error("there is no " + what + " \"" + std::string(name) + "\"" +
                     suggestion(name, names));
}

// How a tool's answers are taken while this lives.
class answer_mode {
  public:
    answer_mode(control_group& group, bool keying) : group_(group) {
        const std::scoped_lock lock(group_.mutex);
        group_.keying = keying;
    }
    // For an edit that replaces all that `edited` held.
    answer_mode(control_group& group, bool keying, control& edited)
        : answer_mode(group, keying) {
        const interpolation between = edited.curve().between();
        const std::scoped_lock lock(group_.mutex);
        group_.replacing = true;
        group_.between = between;
        group_.replaced = {&edited};
    }
    answer_mode(const answer_mode&) = delete;
    answer_mode& operator=(const answer_mode&) = delete;
    ~answer_mode() {
        const std::scoped_lock lock(group_.mutex);
        group_.keying = false;
        group_.replacing = false;
    }

  private:
    control_group& group_;
};

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
    fail_unknown("control", id, names);
}

const std::vector<addition>& tool::additions() const {
    return operator_->HostState().additions;
}

int tool::base_notifications() const { return operator_->HostState().base_notifications; }

const std::optional<base_notification>& tool::last_base_notification() const {
    return operator_->HostState().last_base_notification;
}

std::vector<visibility_change> tool::visibility_changes() const {
    control_group& group = operator_->HostState().group;
    const std::scoped_lock lock(group.mutex);
    return group.visibility_changes;
}

control& tool::changeable(std::string_view id) const {
    return const_cast<control&>(find(id));  // owned by our operator, which is not const
}

// The tool sees its own SetSource calls take effect but is not notified of them: values
// that depend on each other in a circle come to rest after one round.
void tool::report(control& input, Parameter* value, TimeStamp time) {
    control_group& group = operator_->HostState().group;
    {
        const std::scoped_lock lock(group.mutex);
        group.visibility_changes.clear();
    }
    TagList tags;
    operator_->NotifyChanged(&input, value, time, &tags);
}

void tool::set(std::string_view id, double value, TimeStamp time) {
    control& input = changeable(id);
    const auto one = std::get<animation>(input.allowed(animation(value)));
    input.set_number(one.at(time), time);
    const answer_mode mode(operator_->HostState().group, input.curve().is_animated());
    AutoNumber reported(one.at(time));
    report(input, &reported, time);
}

void tool::set(std::string_view id, std::string_view text, TimeStamp time) {
    control& input = changeable(id);
    if (input.info().is_number()) return set(id, input.info().parse(text), time);
    replace(id, std::string(text));
}

void tool::replace(std::string_view id, control_value value) {
    control& input = changeable(id);
    replace(input, input.allowed(std::move(value)));
}

std::set<TimeStamp> tool::key_times() const {
    std::set<TimeStamp> times;
    for (const auto& input : operator_->HostState().controls) {
        const animation curve = input->curve();
        if (!curve.is_animated()) continue;
        for (const key& one : curve.keys()) times.insert(one.time);
    }
    return times;
}

void tool::replace(control& input, control_value value) {
    control_group& group = operator_->HostState().group;
    input.hold(std::move(value));
    std::set<TimeStamp> times = key_times();
    const answer_mode mode(group, !times.empty(), input);
    if (times.empty()) times.insert(0);
    for (const TimeStamp time : times) {
        const Owned<Parameter> reported(input.GetSource(time));
        report(input, reported.get(), time);
    }
    std::set<control*> replaced;
    {
        const std::scoped_lock lock(group.mutex);
        replaced.swap(group.replaced);
    }
    replaced.erase(&input);
    for (control* answer : replaced) answer->simplify();
}

void tool::restore(const std::map<std::string, control_value>& values) {
    std::map<control*, control_value> accepted;
    for (const auto& [id, value] : values) {
        control& input = changeable(id);
        accepted.emplace(&input, input.allowed(value));
    }

    // in an order that does not depend on the spelling of the names
    for (const auto& input : operator_->HostState().controls) {
        const auto saved = accepted.find(input.get());
        if (saved != accepted.end()) replace(*input, saved->second);
    }
    for (const auto& [input, value] : accepted) input->hold(value);
}

void tool::connect(std::string_view id, Image* image) {
    control& input = changeable(id);
    input.check_image(image);
    input.connect(Shared(image));
    report(input, image, 0);
}

void tool::open_page() {
    for (const auto& input : operator_->HostState().controls) {
        if (!input->info().steps()) continue;
        AutoNumber value(input->number(0));
        report(*input, &value, 0);
    }
}

host::host(int threads, FusionDoc::Console console)
    : workers_(threads), console_(std::move(console)) {}

host::~host() = default;

void host::load_plugin(const std::filesystem::path& path) {
    auto plugin = std::make_shared<plugin_library>(path);
    const bool known = std::ranges::any_of(plugins_, [&](const auto& loaded) {
        return loaded->records() == plugin->records();
    });
    if (!known) plugins_.push_back(std::move(plugin));
}

void host::unload_plugins() { plugins_.clear(); }

std::vector<class_info> host::classes() const {
    std::vector<class_info> all;
    for (const auto& plugin : plugins_) {
        for (const Registry* record : plugin->records())
            all.push_back(described(*record));
    }
    return all;
}

std::unique_ptr<tool> host::create_tool(std::string_view class_id) {
    std::vector<std::string> names;
    for (const auto& plugin : plugins_) {
        for (Registry* record : plugin->records()) {
            names.push_back(record->ID().Text());
            if (names.back() != class_id) continue;
            return std::unique_ptr<tool>(new tool(plugin, record, workers_, console_));
        }
    }
    fail_unknown("tool class", class_id, names);
}

std::unique_ptr<tool> host::create_tool(Registry& linked_class) {
    return std::unique_ptr<tool>(new tool(nullptr, &linked_class, workers_, console_));
}

}  // namespace headless
