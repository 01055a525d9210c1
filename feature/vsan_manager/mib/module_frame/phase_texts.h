// A trace text for each phase of a SET.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_PHASE_TEXTS_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_PHASE_TEXTS_H

#include "vsan_mib.h"

namespace vsan_mib {

// Null: none.
struct phase_texts {
  const char *reserve1 = nullptr;
  const char *reserve2 = nullptr;
  const char *action = nullptr;
  const char *commit = nullptr;
  const char *free = nullptr;
  const char *undo = nullptr;
};

// The text of a phase, or null; null for what is no phase.
inline const char *text_of(const phase_texts &texts, int action) {
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
      return nullptr;
  }
}

}  // namespace vsan_mib

#endif
