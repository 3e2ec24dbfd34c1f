#pragma once
// One order for a frame, and the inputs and outputs through which a tool sees it.

#include <memory>

#include "host/api/image.h"
#include "host/api/parameter.h"

// A time, in frames; fractions are between frames.
using TimeStamp = double;

// One order for a frame at a time. The host copies all values of the tool when it makes
// the request: edits during the render show in the next frame. [the render thread]
class HOST_API Request {
  public:
    struct State;  // the host's side, see host/request_state.h
    explicit Request(std::unique_ptr<State> state);
    ~Request();
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    // The time that is rendered, in frames.
    TimeStamp Time() const;
    State& HostState() { return *state_; }

  private:
    std::unique_ptr<State> state_;
};

// A control or an image connection of a tool. The tool's host owns it and the tool keeps
// plain pointers to it, which live as long as the tool. SetAttrs takes 0x10040008: 1
// shows the control, 0 hides it. [any thread]
class HOST_API Input : public Object {
  public:
    // The value for this request: an image, a number or a text; null when nothing is
    // connected. The request owns it. Never throws.
    virtual Parameter* GetValue(Request* request) = 0;
    // The present value at `time`, of the same kinds as GetValue's. The caller releases
    // it. Throws std::bad_alloc.
    virtual Parameter* GetSource(TimeStamp time) = 0;
    // Gives the control a value at `time`, which is copied and kept within the control's
    // range: on an animated control, or in answer to a key, as a key, else for all times.
    // The tool that sets it is not notified of it. A value that the control cannot hold,
    // such as a non-finite number, makes the edit under way fail; without an edit it
    // throws std::runtime_error.
    virtual void SetSource(const Parameter& value, TimeStamp time) = 0;
};

// A result of a tool; owned by the tool's host.
class HOST_API Output : public Object {
  public:
    // Hands the result over: the caller's reference to `image` becomes the request's,
    // which releases an image that was set before. No tags are known. [the render thread]
    template <HOST_TAG_TYPES>
    void Set(Request* request, Image* image, HOST_TAG_PAIRS) {
        SetList(request, image, HOST_TAG_LIST);
    }

  protected:
    virtual void SetList(Request* request, Image* image, const TagList& tags) = 0;
};
