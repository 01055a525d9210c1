// The port manager's list of active memberships.
#ifndef PLATFORM_PORT_MANAGER_H
#define PLATFORM_PORT_MANAGER_H

#include <stdint.h>

#include "platform/mts.h"

#ifdef __cplusplus
extern "C" {
#endif

// Reads one active membership, a pair (VSAN, interface) in host order; pairs are ordered by VSAN, then interface.
// `operation` 1 reads the given pair, 2 replaces it by the next pair after it; a walk begins with the pair 0, 0.
// `is_static` gets 1 when the membership
// was configured, 0 when it is the default one. `timeout` is in seconds, 0 for the platform's default. Returns 0, or a
// status of the port manager (the pair is absent; there is no further pair), or -1 with `errno` as `cmi_req_resp` has
// it. The pair is left as it was unless 0 is returned.
int pm_cmi_get_active_vsan_port_membership(mts_queue_t queue, int operation, uint32_t *vsan_index, uint32_t *if_index,
                                           uint8_t *is_static, const char *user, const char *session, int timeout);

#ifdef __cplusplus
}
#endif

#endif
