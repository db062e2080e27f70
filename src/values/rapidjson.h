// RapidJSON in a namespace of the library's own: a game may have another version of it, or the same with other options.
#pragma once

// NOLINTBEGIN(cppcoreguidelines-macro-usage): the library's own switches
#define RAPIDJSON_NAMESPACE zorvane::rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN \
  namespace zorvane {             \
  namespace rapidjson {
#define RAPIDJSON_NAMESPACE_END \
  }                             \
  }
// NOLINTEND(cppcoreguidelines-macro-usage)

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
