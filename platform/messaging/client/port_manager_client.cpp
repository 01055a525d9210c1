#include <errno.h>
#include <stdlib.h>

#include "platform/cmi.h"
#include "platform/port_manager.h"
#include "port_records.h"
#include "record_words.h"
#include "requests.h"

int pm_cmi_get_active_vsan_port_membership(mts_queue_t queue, int operation, uint32_t *vsan_index, uint32_t *if_index,
                                           uint8_t *is_static, const char *user, const char *session, int timeout) {
  active_membership pair = {*vsan_index, *if_index, 0, {}};
  record_swap(&pair);
  void *response = nullptr;
  uint32_t size = sizeof pair;
  int status = cmi_req_resp(kOpActiveMembership, operation, &pair, &response, &size, user, session, kServicePortManager,
                            queue, timeout);
  if (status == 0 && (response == nullptr || size != sizeof pair)) {
    errno = EPROTO;
    status = -1;
  }
  if (status == 0) {
    pair = record_read<active_membership>(static_cast<const uint8_t *>(response));
    *vsan_index = pair.vsan;
    *if_index = pair.interface;
    *is_static = pair.is_static;
  }
  const int why = errno;
  free(response);
  errno = why;
  return status;
}
