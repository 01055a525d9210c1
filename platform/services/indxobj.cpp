// A list is an array sorted by key: lists hold the rows of one PDU and stay short.
#include "platform/indxobj.h"

#include <stdlib.h>
#include <string.h>

namespace {

constexpr int kCreated = 2;

struct list_entry {
  const void *key;
  void *data;
};

struct index_list {
  indxobj_comp_t comp;
  list_entry *entries;
  size_t count;
  size_t room;
};

index_list *list_of(const indxobj_t *object) {
  return object == nullptr ? nullptr : static_cast<index_list *>(object->opaque[0]);
}

// The place of the first entry that does not sort before `key`.
size_t place_of(const index_list &list, const void *key) {
  size_t low = 0;
  size_t high = list.count;
  while (low < high) {
    const size_t middle = low + (high - low) / 2;
    if (list.comp(list.entries[middle].key, key) > 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

bool holds(const index_list &list, size_t place, const void *key) {
  return place < list.count && list.comp(list.entries[place].key, key) == 0;
}

bool make_room(index_list &list) {
  if (list.count < list.room) {
    return true;
  }
  const size_t room = list.room == 0 ? 8 : list.room * 2;
  void *entries = realloc(list.entries, room * sizeof(list_entry));
  if (entries == nullptr) {
    return false;
  }
  list.entries = static_cast<list_entry *>(entries);
  list.room = room;
  return true;
}

}  // namespace

int indxobj_create(indxobj_t *object, int, int, indxobj_comp_t comp, int) {
  if (object == nullptr || comp == nullptr || list_of(object) != nullptr) {
    return 0;
  }
  auto *list = static_cast<index_list *>(calloc(1, sizeof(index_list)));
  if (list == nullptr) {
    return 0;
  }
  list->comp = comp;
  object->opaque[0] = list;
  return kCreated;
}

int indxobj_add(indxobj_t *object, void *key, void *data) {
  index_list *list = list_of(object);
  if (list == nullptr) {
    return 0;
  }
  const size_t place = place_of(*list, key);
  if (holds(*list, place, key) || !make_room(*list)) {
    return 0;
  }
  memmove(list->entries + place + 1, list->entries + place, (list->count - place) * sizeof(list_entry));
  list->entries[place] = {key, data};
  ++list->count;
  return 1;
}

void *indxobj_find(indxobj_t *object, const void *key, int) {
  const index_list *list = list_of(object);
  if (list == nullptr) {
    return nullptr;
  }
  const size_t place = place_of(*list, key);
  return holds(*list, place, key) ? list->entries[place].data : nullptr;
}

void *indxobj_remove(indxobj_t *object, const void *key) {
  index_list *list = list_of(object);
  if (list == nullptr) {
    return nullptr;
  }
  const size_t place = place_of(*list, key);
  if (!holds(*list, place, key)) {
    return nullptr;
  }
  void *data = list->entries[place].data;
  --list->count;
  memmove(list->entries + place, list->entries + place + 1, (list->count - place) * sizeof(list_entry));
  return data;
}

int indxobj_destroy(indxobj_t *object) {
  index_list *list = list_of(object);
  if (list == nullptr) {
    return 0;
  }
  free(list->entries);
  free(list);
  *object = {};
  return 0;
}
