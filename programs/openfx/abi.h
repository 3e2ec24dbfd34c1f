#pragma once
// The C interface of OpenFX image effects, as far as it is used here: the layout of what
// host and effect hand each other, with names of our own. Constant texts (suites,
// actions, properties) are those of the interface, whatever their spelling.

#include <cstddef>

namespace ofx {

using status = int;
enum : status {
    OK = 0,
    FAILED = 1,
    UNKNOWN = 3,
    MISSING_HOST_FEATURE = 4,
    NO_MEMORY = 8,
    BAD_HANDLE = 9,
    REPLY_DEFAULT = 14,
};

// The host's objects, each known by its address alone.
using properties = struct property_set_body*;
using effect = struct effect_body*;
using clip = struct clip_body*;
using parameters = struct parameter_set_body*;
using parameter = struct parameter_body*;

using time = double;  // in frames
struct time_range {
    double first, last;
};
// Rows are counted upwards; x2 and y2 lie outside.
struct pixel_rect {
    int x1, y1, x2, y2;
};
struct rect {
    double x1, y1, x2, y2;
};

extern "C" {

struct host {
    properties host_properties;
    const void* (*fetch_suite)(properties host, const char* name, int version);
};

using entry_point = status(const char* action, const void* handle, properties in,
                           properties out);

struct plugin {
    const char* api;
    int api_version;
    const char* identifier;
    unsigned int version_major;
    unsigned int version_minor;
    void (*set_host)(host*);
    entry_point* main_entry;
};

// "OfxPropertySuite", version 1
struct property_suite {
    status (*set_pointer)(properties, const char* name, int index, void* value);
    status (*set_text)(properties, const char* name, int index, const char* value);
    status (*set_double)(properties, const char* name, int index, double value);
    status (*set_int)(properties, const char* name, int index, int value);
    status (*set_pointers)(properties, const char* name, int count, void* const* values);
    status (*set_texts)(properties, const char* name, int count,
                        const char* const* values);
    status (*set_doubles)(properties, const char* name, int count, const double* values);
    status (*set_ints)(properties, const char* name, int count, const int* values);
    status (*get_pointer)(properties, const char* name, int index, void** value);
    status (*get_text)(properties, const char* name, int index, char** value);
    status (*get_double)(properties, const char* name, int index, double* value);
    status (*get_int)(properties, const char* name, int index, int* value);
    status (*get_pointers)(properties, const char* name, int count, void** values);
    status (*get_texts)(properties, const char* name, int count, char** values);
    status (*get_doubles)(properties, const char* name, int count, double* values);
    status (*get_ints)(properties, const char* name, int count, int* values);
    status (*reset)(properties, const char* name);
    status (*get_dimension)(properties, const char* name, int* count);
};

// "OfxImageEffectSuite", version 1; what it has for memory follows and is not used
struct image_effect_suite {
    status (*get_property_set)(effect, properties* found);
    status (*get_parameter_set)(effect, parameters* found);
    status (*define_clip)(effect, const char* name, properties* of_clip);
    status (*get_clip)(effect, const char* name, clip* found, properties* of_clip);
    status (*get_clip_properties)(clip, properties* found);
    status (*get_image)(clip, time, const rect* region, properties* image);
    status (*release_image)(properties image);
    status (*get_region_of_definition)(clip, time, rect* bounds);
    int (*abort)(effect);
};

// "OfxParameterSuite", version 1
struct parameter_suite {
    status (*define)(parameters, const char* type, const char* name, properties* of_new);
    status (*get_handle)(parameters, const char* name, parameter* found, properties*);
    status (*get_set_properties)(parameters, properties* found);
    status (*get_properties)(parameter, properties* found);
    status (*get_value)(parameter, ...);
    status (*get_value_at_time)(parameter, time, ...);
    status (*get_derivative)(parameter, time, ...);
    status (*get_integral)(parameter, time, time, ...);
    status (*set_value)(parameter, ...);
    status (*set_value_at_time)(parameter, time, ...);
    status (*count_keys)(parameter, unsigned int* count);
    status (*get_key_time)(parameter, unsigned int nth, time*);
    status (*get_key_index)(parameter, time, int direction, int* index);
    status (*delete_key)(parameter, time);
    status (*delete_all_keys)(parameter);
    status (*copy)(parameter to, parameter from, time offset, const time_range*);
    status (*begin_edit)(parameters, const char* name);
    status (*end_edit)(parameters);
};

// "OfxMultiThreadSuite", version 1; mutexes follow and are not used
struct multi_thread_suite {
    status (*run)(void (*)(unsigned int index, unsigned int count, void*),
                  unsigned int threads, void* argument);
    status (*count_processors)(unsigned int* count);
};

// "OfxMessageSuite", version 2
struct message_suite {
    status (*show)(void* effect, const char* type, const char* id, const char* format,
                   ...);
    status (*set_persistent)(void* effect, const char* type, const char* id,
                             const char* format, ...);
    status (*clear_persistent)(void* effect);
};

}  // extern "C"

}  // namespace ofx
