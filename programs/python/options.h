#pragma once
// The command's options of reading and writing as keyword arguments.

#include <string>
#include <vector>

#include "pipeline/shots/choices_json.h"

namespace focusfall {

// A keyword argument: the option's name with "_" for "-", and which types it takes.
struct keyword {
    std::string name;
    std::string takes;
};

// Those of reading a picture, and those of writing one.
std::vector<keyword> read_keywords();
std::vector<keyword> write_keywords();

// The choices that `given`, an object with such names, makes; those that are null or
// missing stay open. Throws headless::host_error that names the argument for a name that
// is none and a value that it does not take.
load_choices load_choices_of(const json_record& given);
output_choices output_choices_of(const json_record& given);

}  // namespace focusfall
