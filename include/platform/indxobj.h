// Ordered lists of records, each found by a key.
#ifndef PLATFORM_INDXOBJ_H
#define PLATFORM_INDXOBJ_H

#ifdef __cplusplus
extern "C" {
#endif

// A list object that its user owns. All zero before `indxobj_create`.
typedef struct {
  void *opaque[16];
} indxobj_t;

// Orders two keys: positive when a sorts before b, 0 when they are equal, negative otherwise.
typedef int (*indxobj_comp_t)(const void *a, const void *b);

// Makes an empty list ordered by `comp`. The three numbers are tuning hints of the switch's own library and are not
// used here. Returns 2 on success, 0 when there is no memory or the list exists already.
int indxobj_create(indxobj_t *list, int, int, indxobj_comp_t comp, int);

// Lists `data` under `key`, which must live as long as it is listed. Returns non-zero on success; 0 when the key is
// there already, the list was not created, or there is no memory.
int indxobj_add(indxobj_t *list, void *key, void *data);

// The data listed under `key`, or null. The element stays listed. The number is not used.
void *indxobj_find(indxobj_t *list, const void *key, int);

// Unlists the data under `key` and returns it, or null. The caller owns what it removed.
void *indxobj_remove(indxobj_t *list, const void *key);

// Releases the list and leaves the object all zero, ready to be created again; elements still listed are their owner's
// to free. A list that was never created is left alone. Returns 0.
int indxobj_destroy(indxobj_t *list);

#ifdef __cplusplus
}
#endif

#endif
