#include "host/api/request.h"

#include <utility>

#include "host/request_state.h"

Request::Request(std::unique_ptr<State> state) : state_(std::move(state)) {}
Request::~Request() = default;

TimeStamp Request::Time() const { return state_->time; }
