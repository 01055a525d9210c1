// The two readers of notification 145, a change of a range of VSANs. Nobody else reads its payload, so that its format
// is the platform's own. The trap needs the VSAN and the attributes 1 (admin state: 1 active, 2 suspended) and 19
// (operational state: 1 up, 2 down); without one of them none is sent.
#ifndef PLATFORM_VSAN_RANGE_H
#define PLATFORM_VSAN_RANGE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Reads the head of the payload: the VSAN and whether it was created by the change. The other outputs describe the
// range on switches that group changes; `first` is non-zero when the change is one that is not shown to managers.
// Returns 0, or -1 for a payload that is null, cut short or of another format; nothing is written then.
int vsan_range_config_change_get_info(void *payload, uint32_t size, int *first, int *second, uint32_t *vsan_id,
                                      int *is_vsan_created, int *third, int *fourth, int *fifth);

// Reads one attribute (a `vsan_attr_key_t`) into `*value`, in host order, and its width in bytes into `*length`.
// Returns 0, or -1 when the payload does not carry it or is not sound; nothing is written then.
int vsan_range_config_change_get_attr_values(void *payload, uint32_t size, int key, uint32_t *value, uint32_t *length);

#ifdef __cplusplus
}
#endif

#endif
