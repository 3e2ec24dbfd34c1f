// Whatever a host does with the effects, in whatever order: random sequences of actions,
// with odd pictures, pictures withheld, values that make no sense, and no memory.

#include <cmath>
#include <limits>
#include <random>

#include "programs/openfx/entry.h"
#include "tests/programs/openfx/mini_host.h"
#include "tests/support/failing_allocations.h"

#include <gtest/gtest.h>

using mini_host::effect;

namespace {

constexpr mini_host::entries LINKED = {OfxGetNumberOfPlugins, OfxGetPlugin};

class random_host {
  public:
    explicit random_host(unsigned seed) : engine_(seed) {}

    // One instance from its creation to its end.
    void run(mini_host::loaded_effect& on) {
        effect_ = &on;
        made_ = on.instance(chance(0.3) ? mini_host::FILTER : mini_host::GENERAL,
                            whole(1, 40), whole(1, 40));
        for (auto& [name, clip] : made_->clips) connect(name, *clip);
        if (chance(0.1)) set_some_value();
        const ofx::status created = act("OfxActionCreateInstance");
        if (created == ofx::OK) {
            for (int left = whole(0, 5); left > 0; --left) do_something();
            // the host's memory is not the effect's: it always gets rid of an instance
            EXPECT_EQ(on.act("OfxActionDestroyInstance", made_.get()), ofx::OK);
        }
        EXPECT_EQ(mini_host::take_refusals(), std::vector<std::string>{});
    }
    int count(ofx::status status) { return counts_[status]; }

  private:
    int whole(int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(engine_);
    }
    bool chance(double probability) {
        return std::uniform_real_distribution<double>(0, 1)(engine_) < probability;
    }

    ofx::pixel_rect some_bounds() {
        const int x = whole(-20, 20);
        const int y = whole(-20, 20);
        return {x, y, x + whole(1, 40), y + whole(1, 40)};
    }
    void connect(const std::string& name, mini_host::clip& clip) {
        const bool needed = name == "Source" || name == "Output";
        if (!needed && chance(0.4)) return;
        if (needed && chance(0.02)) return;
        const int components = !needed && chance(0.4) ? 1 : 4;
        clip.connect(some_bounds(), components);
        for (float& value : clip.image.pixels) value = some_float();
        clip.upside_down = chance(0.3);
        clip.withheld = chance(0.05);
        if (chance(0.3)) {
            clip.properties.values["OfxImageEffectPropPreMultiplication"] = {
                std::string("OfxImageAlphaUnPremultiplied")};
        }
        if (chance(0.1)) clip.region = {-1e30, -1e30, 1e30, 1e30};
    }
    float some_float() {
        switch (whole(0, 30)) {
            case 0: return 0.0F;
            case 1: return std::numeric_limits<float>::infinity();
            case 2: return std::nanf("");
            case 3: return -3.0F;
            default: return static_cast<float>(whole(0, 1000)) / 500.0F;
        }
    }
    double some_number() {
        switch (whole(0, 12)) {
            case 0: return std::nan("");
            case 1: return 1e300;
            case 2: return -1.0;
            default: return whole(0, 200) / 10.0;
        }
    }

    std::string some_parameter() {
        for (;;) {
            const auto& order = made_->parameter_order;
            const std::string& name = order[static_cast<std::size_t>(
                whole(0, static_cast<int>(order.size()) - 1))];
            if (made_->parameters.at(name)->properties.value_count > 0) return name;
        }
    }
    std::string set_some_value() {
        const std::string name = some_parameter();
        mini_host::parameter& parameter = *made_->parameters.at(name);
        const bool is_whole = parameter.properties.value_kind == 'i';
        parameter.numbers[0] = is_whole ? whole(-1, 6) : some_number();
        parameter.numbers[1] = some_number();
        if (chance(0.1)) parameter.keys[whole(0, 3)] = parameter.numbers[0];
        return name;
    }

    // Runs an action, perhaps without memory; only then may it say that there is none.
    ofx::status act(const char* name, mini_host::property_bag* in = nullptr,
                    mini_host::property_bag* out = nullptr) {
        const bool starved = chance(0.15);
        if (starved && chance(0.2))
            aligned_allocations_fail = true;
        else if (starved)
            allocations_until_failure = whole(0, 400);
        mini_host::allocations_left = &allocations_until_failure;
        const ofx::status status = effect_->act(name, made_.get(), in, out);
        mini_host::allocations_left = nullptr;
        allocations_until_failure = -1;
        aligned_allocations_fail = false;

        ++counts_[status];
        EXPECT_EQ(made_->lent_images(), 0) << name;
        EXPECT_TRUE(status == ofx::OK || status == ofx::REPLY_DEFAULT ||
                    status == ofx::FAILED || (starved && status == ofx::NO_MEMORY))
            << name << " gives " << status;
        return status;
    }

    void do_something() {
        mini_host::property_bag in{mini_host::bag_kind::ARGUMENTS};
        mini_host::property_bag out{mini_host::bag_kind::ARGUMENTS};
        const double time = whole(0, 3);
        const double scale = chance(0.8) ? 1.0 : whole(1, 20) / 10.0;
        in.values["OfxPropTime"] = {time};
        in.values["OfxImageEffectPropRenderScale"] = {scale, scale};
        switch (whole(0, 8)) {
            case 0:
            case 1:
            case 2: {
                const ofx::pixel_rect window =
                    chance(0.7) ? made_->input("Output").image.bounds : some_bounds();
                in.values["OfxImageEffectPropRenderWindow"] = {window.x1, window.y1,
                                                               window.x2, window.y2};
                const int after = chance(0.3) ? whole(0, 5) : -1;
                made_->asked = 0;
                made_->wants_abort = [this, after] {
                    return after >= 0 && made_->asked > after;
                };
                if (!made_->input("Output").is_connected()) return;
                act("OfxImageEffectActionRender", &in);
                return;
            }
            case 3: act("OfxActionPurgeCaches"); return;
            case 4:
                act("OfxImageEffectActionGetRegionOfDefinition", &in, &out);
                act("OfxImageEffectActionGetRegionsOfInterest", &in, &out);
                return;
            case 5: act("OfxImageEffectActionGetClipPreferences", nullptr, &out); return;
            case 6: act("OfxImageEffectActionIsIdentity", &in, &out); return;
            default: {
                in.values["OfxPropType"] = {std::string("OfxTypeParameter")};
                in.values["OfxPropName"] = {chance(0.2) ? "FocusHere" : set_some_value()};
                in.values["OfxPropChangeReason"] = {std::string(
                    chance(0.9) ? "OfxChangeUserEdited" : "OfxChangePluginEdited")};
                act("OfxActionInstanceChanged", &in);
                return;
            }
        }
    }

    std::mt19937 engine_;
    mini_host::loaded_effect* effect_ = nullptr;
    std::unique_ptr<effect> made_;
    std::map<ofx::status, int> counts_;
};

}  // namespace

TEST(OpenfxSequences, EndWellWhateverTheHostDoes) {
    constexpr int SEQUENCES = 10000;
    mini_host::processors = 3;
    random_host random(18);
    for (int i = 0; i < SEQUENCES;) {
        // now and then all is unloaded
        mini_host::loaded_effect effect(LINKED, i / 100 % OfxGetNumberOfPlugins());
        for (int end = i + 100; i < end; ++i) {
            SCOPED_TRACE(i);
            random.run(effect);
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    }
    // all of it happened
    EXPECT_GT(random.count(ofx::OK), SEQUENCES);
    EXPECT_GT(random.count(ofx::FAILED), 100);
    EXPECT_GT(random.count(ofx::NO_MEMORY), 100);
}
