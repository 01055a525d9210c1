// A trace text for each phase of a SET.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_PHASE_TEXTS_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_PHASE_TEXTS_H

#include "vsan_mib.h"

namespace vsan_mib {

// Each a row_format; null: none.
template <typename Text>
struct phase_texts {
  Text reserve1 = {};
  Text reserve2 = {};
  Text action = {};
  Text commit = {};
  Text free = {};
  Text undo = {};
};

// The text of a phase; none for what is no phase.
template <typename Text>
Text text_of(const phase_texts<Text> &texts, int action) {
  switch (action) {
    case RESERVE1:
      return texts.reserve1;
    case RESERVE2:
      return texts.reserve2;
    case ACTION:
      return texts.action;
    case COMMIT:
      return texts.commit;
    case FREE:
      return texts.free;
    case UNDO:
      return texts.undo;
    default:
      return {};
  }
}

}  // namespace vsan_mib

#endif
