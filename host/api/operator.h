#pragma once
// The base classes of tools.

#include <atomic>
#include <cstdint>
#include <memory>

#include "host/api/document.h"
#include "host/api/forecast.h"
#include "host/api/registry.h"
#include "host/api/request.h"

struct OperatorState;  // the host's own

// A tool in a flow. It adds its pages, inputs and outputs in its constructor; from then
// on the host calls NotifyChanged for edits [user-interface side, one thread at a time]
// and Process for frames [a render thread, one frame at a time].
class HOST_API Operator : public Object {
  public:
    // The host's stock class hooks for a Registry; both always return true.
    static bool RegInit(Registry* record);
    static bool RegCleanup(Registry* record);

    // The arguments of the class's ToolFactory.
    Operator(Registry* record, const ScriptVal& table, TagList* tags);
    ~Operator() override;

    // Renders the request and hands the result to an output. A tool that stops because of
    // IsAborted hands over nothing. What it throws fails the frame, and nothing else.
    virtual void Process(Request* request) = 0;
    // Says what the request's frame will need and show; its images are not there yet.
    // Changes nothing: frames may render meanwhile. [any thread]
    virtual FrameForecast Forecast(Request* request, const FrameShape& shape) const;
    // Learns that `input` has a new value at `time`; any of the pointers may be null. The
    // host does not report values that the tool itself sets, so tools need no guard
    // against reports that set off one another. What it throws passes to the caller of
    // the edit.
    virtual void NotifyChanged(Input* input, Parameter* param, TimeStamp time,
                               TagList* tags);

    // Gives back the memory that the tool keeps from one frame to the next; the next
    // frame is the same as without. The host calls it between two frames. [the render
    // thread]
    virtual void ReleaseFrameMemory() {}
    // What the control `id` does, in a sentence or two for whoever sets it, with the
    // unit; null when the tool has nothing to say. Lives as long as the tool's library.
    // Not called before the tool is constructed. [any thread]
    virtual const char* ControlHelp(const FuID& id) const;

    // The three functions below are for the tool's constructor; all throw std::bad_alloc.
    //
    // Opens a page of controls, which shows the inputs that are added after it.
    template <HOST_TAG_TYPES>
    void AddControlPage(const FuID& name, HOST_TAG_PAIRS) {
        AddControlPageList(name, HOST_TAG_LIST);
    }
    // Adds a control or an image connection and gives its handle, which the host owns and
    // which lives as long as the tool. A second request for an identifier gives the
    // handle of the first, and replaces the name, tags and default of that control. Never
    // null. The tags are listed in host/control.h.
    template <HOST_TAG_TYPES>
    Input* AddInput(const FuID& name, const FuID& id, HOST_TAG_PAIRS) {
        return AddInputList(name, id, HOST_TAG_LIST);
    }
    Input* AddInputList(const FuID& name, const FuID& id, const TagList& tags);
    // Adds a result of the tool, likewise; a second request for an identifier gives the
    // same handle.
    template <HOST_TAG_TYPES>
    Output* AddOutput(const FuID& name, const FuID& id, HOST_TAG_PAIRS) {
        return AddOutputList(name, id, HOST_TAG_LIST);
    }

    // True once the host wants the render to stop. [any thread]
    bool IsAborted() const noexcept {
        return abort_flag_.load(std::memory_order_relaxed) != 0;
    }
    // Raises or lowers that flag; safe in a signal handler. [any thread]
    void SetAborted(bool aborted) noexcept {
        abort_flag_.store(aborted ? 1 : 0, std::memory_order_relaxed);
    }
    // Begins a step of the frame. A frame is one step at first; a tool whose frame has
    // several announces each: the step ends where `end` of the frame, 0 .. 1, is done,
    // the last one at 1. Never throws. [the render thread]
    void BeginStep(double end);
    // Reports that `part` of the step, 0 .. 1, is done; progress never falls, so a lower
    // part than before changes nothing. DoMultiProcess reports its chunks itself; other
    // long work calls this at least every 50 ms, and looks at IsAborted afterwards.
    // Throws what the program that receives the progress throws. [the render thread]
    void ReportStep(double part);
    // The document that the tool prints to; null while the tool is constructed.
    FusionDoc* Document();
    // The host's own data of this tool; tools leave it alone.
    OperatorState& HostState() { return *state_; }

  private:
    void AddControlPageList(const FuID& name, const TagList& tags);
    Output* AddOutputList(const FuID& name, const FuID& id, const TagList& tags);

    std::atomic<std::int32_t> abort_flag_ = 0;
    std::unique_ptr<OperatorState> state_;
};

// A tool that spreads work over the host's threads.
class HOST_API ThreadedOperator : public Operator {
  public:
    static const FuID ClassID;  // for the base class in a registration

    using Operator::Operator;

    // One piece of the work. [worker threads, several pieces at once]
    virtual void ProcessChunk(Request* request, std::int32_t chunk) = 0;

    // Calls ProcessChunk for 0 .. chunks - 1 on the worker threads, this one among them,
    // and returns when all are done. The first exception of a chunk ends the work: chunks
    // that have not begun are left out, and it is thrown again here. An abort does not:
    // chunks look at IsAborted themselves. Reports the chunks that are done as parts of
    // the present step. [the render thread]
    void DoMultiProcess(Request* request, std::int32_t chunks);
};
