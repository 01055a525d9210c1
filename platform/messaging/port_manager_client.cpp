#include <errno.h>
#include <stdlib.h>

#include "platform/cmi.h"
#include "platform/messaging/big_endian.h"
#include "platform/port_manager.h"
#include "platform/services.h"

int pm_cmi_get_active_vsan_port_membership(mts_queue_t queue, int operation, uint32_t *vsan_index, uint32_t *if_index,
                                           uint8_t *is_static, const char *user, const char *session, int timeout) {
  uint8_t request[kActiveMembershipSize] = {};
  put_be32(put_be32(request, *vsan_index), *if_index);
  void *response = nullptr;
  uint32_t size = sizeof request;
  int status = cmi_req_resp(kOpActiveMembership, operation, request, &response, &size, user, session,
                            kServicePortManager, queue, timeout);
  const auto *pair = static_cast<const uint8_t *>(response);
  if (status == 0 && (pair == nullptr || size != kActiveMembershipSize)) {
    errno = EPROTO;
    status = -1;
  }
  if (status == 0) {
    *vsan_index = get_be32(pair);
    *if_index = get_be32(pair + 4);
    *is_static = pair[8];
  }
  const int why = errno;
  free(response);
  errno = why;
  return status;
}
