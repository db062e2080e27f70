// Lists of texts that a game hands in.
#pragma once

#include <algorithm>

#include <zorvane/ZVTypes.h>

namespace zorvane {

// False for an absent list or text.
inline bool holds(const ZVTextList& list, ZVText text) {
  return list && text.present() && std::ranges::find(*list, text.view()) != list->end();
}

}  // namespace zorvane
