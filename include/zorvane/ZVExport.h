/// @file
/// Marks what the library exports; everything else stays hidden.
#pragma once

#if defined(__GNUC__) || defined(__clang__)
#define ZORVANE_API __attribute__((visibility("default")))
#else
#define ZORVANE_API
#endif
