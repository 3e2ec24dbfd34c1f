#pragma once
// Marks what the host library offers to tools and to programs that embed it.

#if !defined(_WIN32)
#define HOST_API __attribute__((visibility("default")))
#elif defined(FOCUSFALL_HOST_BUILD)
#define HOST_API __declspec(dllexport)
#else
#define HOST_API __declspec(dllimport)
#endif
