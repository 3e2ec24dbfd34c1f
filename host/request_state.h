#pragma once
// The host's side of a request: the values that the tool sees, and the results it sets.

#include <map>

#include "host/api/request.h"

struct Request::State {
    TimeStamp time = 0;
    std::map<const Input*, Owned<Parameter>> values;
    std::map<const Output*, Owned<Image>> results;
};
