#pragma once
// Marks what the host library offers to tools and to programs that embed it.
//
// FOCUSFALL_HOST_STATIC is defined where host and tools are linked into one binary: there
// nothing is exported, so that the binary may share a process with others of its kind. It
// cannot load plug-in libraries, which would bring a host of their own.

#if defined(FOCUSFALL_HOST_STATIC)
#define HOST_API
#elif !defined(_WIN32)
#define HOST_API __attribute__((visibility("default")))
#elif defined(FOCUSFALL_HOST_BUILD)
#define HOST_API __declspec(dllexport)
#else
#define HOST_API __declspec(dllimport)
#endif
