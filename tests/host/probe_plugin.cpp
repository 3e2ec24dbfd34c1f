// A plug-in whose tools do what the tests of the host need: work in chunks, fail in every
// way that a tool can, refuse to be made.

#include <limits>
#include <stdexcept>
#include <string>
#include <thread>

#include "host/api/operator.h"

namespace {

// Multiplies the picture by "Factor", one row a chunk; "Fault" says how it fails instead.
class probe : public ThreadedOperator {
  public:
    probe(Registry* record, const ScriptVal& table, TagList* tags)
        : ThreadedOperator(record, table, tags) {
        AddControlPage("First", 0);
        factor_ = AddInput("A factor", "Factor", 0x88020000, FuID("Number"), 0x20030004,
                           1.0, 0);
        AddControlPage("Second", 0);
        const auto* again = AddInput("Factor", "Factor", 0x88020000, FuID("Number"),
                                     0x20030004, 2.0, 0x20030001, 3.0, 0);
        fault_ = AddInput("Fault", "Fault", 0x88020000, FuID("Text"), 0);
        input_ = AddInput("Picture", "Input", 0x88020000, FuID("Image"), 0);
        output_ = AddOutput("Result", "Output", 0x88020000, FuID("Image"), 0);
        if (again != factor_ || AddOutput("Result", "Output", 0) != output_) {
            throw std::logic_error("a second request gave another handle");
        }
    }

    void Process(Request* request) override {
        const std::string fault = Fault(request);
        if (fault == "number") throw 1;
        if (fault == "nothing") return;
        if (fault == "print") {
            Document()->PrintF(60, "%s error: %d\n", "probe", 42);
            return;
        }
        source_ = dynamic_cast<Image*>(input_->GetValue(request));
        Owned<Image> result(NewImage(0x60020000, source_, 0));
        result_ = result.get();
        DoMultiProcess(request, source_->Height());
        Document()->PrintF(40, "%d rows at %g\n", source_->Height(), request->Time());
        if (!IsAborted()) output_->Set(request, result.release(), 0);
    }

    void ProcessChunk(Request* request, std::int32_t row) override {
        if (Fault(request) == "chunk" && row == 1) throw std::runtime_error("row 1");
        if (Fault(request) == "wait") {
            while (!IsAborted()) std::this_thread::yield();
        }
        const auto* factor = dynamic_cast<Number*>(factor_->GetValue(request));
        for (std::int32_t i = 0; i < source_->Width() * source_->Components(); ++i) {
            result_->Pixel(0, row)[i] =
                source_->Pixel(0, row)[i] * static_cast<float>(factor->Value());
        }
    }

    void NotifyChanged(Input* input, Parameter* param, TimeStamp time,
                       TagList* tags) override {
        Operator::NotifyChanged(input, param, time, tags);
        const auto* words = dynamic_cast<const Text*>(param);
        if (words && words->Value() == "notify") throw std::runtime_error("notified");
        if (words && words->Value() == "endless") {
            factor_->SetSource(AutoNumber(std::numeric_limits<double>::infinity()), time);
        }
        if (words && words->Value() == "talkative") {
            factor_->SetSource(Text("two"), time);
        }
    }

  private:
    std::string Fault(Request* request) {
        return dynamic_cast<Text*>(fault_->GetValue(request))->Value();
    }

    Input* factor_;
    Input* fault_;
    Input* input_;
    Output* output_;
    Image* source_ = nullptr;
    Image* result_ = nullptr;
};

Operator* new_probe(Registry* record, const ScriptVal& table, TagList* tags) {
    return new probe(record, table, tags);
}
Operator* fail_to_make(Registry*, const ScriptVal&, TagList*) {
    throw std::logic_error("no lens fits");
}
Operator* make_nothing(Registry*, const ScriptVal&, TagList*) { return nullptr; }
bool refuse(Registry*) { return false; }

ClassRegistry& list = ClassRegistry::Global();
Registry probe_class(list, "probe.Probe", 0x60000000, &new_probe, 0);
Registry throwing_class(list, "probe.Throwing", 0x60000000, &fail_to_make, 0);
Registry empty_class(list, "probe.Empty", 0x60000000, &make_nothing, 0);
Registry bare_class(list, "probe.Bare", 0x30000002, "Bare", 0);
Registry refused_class(list, "probe.Refused", 0x60000000, &new_probe, 0x60000001, &refuse,
                       0);

}  // namespace
