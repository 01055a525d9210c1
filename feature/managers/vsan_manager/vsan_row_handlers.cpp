// Opcodes 149 and 124: rows of the VSAN table and of the interface table.
#include "record_words.h"
#include "rules/vsan_rules.h"
#include "statuses.h"
#include "vsan_manager/handlers.h"
#include "vsan_records.h"
#include "vsan_values.h"

namespace {

vsanIfEntry asked_interface(const message_request &request) {
  return record_read<vsanIfEntry>(request.payload.data());
}

// Who writes. What is longer is cut: these texts are kept for every column of every VSAN.
std::string writer_of(const message_request &request) {
  static constexpr size_t kPartMax = 128;
  return std::string(request.user.substr(0, kPartMax)) + '\0' + std::string(request.session.substr(0, kPartMax));
}

int answer_vsan(const switch_state &state, const vsan_record &vsan, message_reply &reply) {
  reply.payload = row_answer(state, vsan);
  return 0;
}

}  // namespace

int handle_vsan_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  const vsan_record *vsan = find_vsan(managers.state, row_vsan(request.payload));
  return vsan == nullptr ? kStatusNoVsan : answer_vsan(managers.state, *vsan, reply);
}

int handle_vsan_get_next(switch_managers &managers, const message_request &request, message_reply &reply) {
  const vsan_record *vsan = next_vsan(managers.state, row_vsan(request.payload));
  return vsan == nullptr ? kStatusNoEntry : answer_vsan(managers.state, *vsan, reply);
}

namespace {

// Plans what the row does to a VSAN that is there, that its sender has just deleted, or that is new. A row that was
// read before somebody else deleted the VSAN does not make it again.
int plan_row(switch_managers &managers, const sent_row &row, const std::string &writer, row_writers &writers,
             switch_change &change) {
  const switch_state &state = managers.state;
  const vsan_record *present = find_vsan(state, row.vsan.id);
  const std::string_view known_name = row.read ? std::string_view(row.read->name) : std::string_view();
  if (present != nullptr) {
    writers = managers.writers[present->id];
    return plan_vsan_set(state, merge_row(row, *present, writer, writers), row.row_status, known_name, change);
  }
  const dropped_vsan *taken = row.read ? find_dropped(managers.dropped, row.vsan.id) : nullptr;
  if (taken == nullptr) {
    writers = writers_of_new_row(writer);
    return plan_vsan_set(state, row.vsan, row.row_status, known_name, change);
  }
  if (taken->writer != writer) {
    return kStatusNoVsan;
  }
  writers = taken->writers;
  plan_give_back(state, *taken, managers.sessions_closed, change);
  return plan_vsan_set(state, merge_row(row, taken->vsan, writer, writers), row.row_status, known_name, change);
}

}  // namespace

int handle_vsan_set(switch_managers &managers, const message_request &request, message_reply &) {
  sent_row row;
  if (const int problem = row_read(request.payload, row); problem != 0) {
    return problem;
  }
  row_writers writers;
  switch_change change = change_begin(managers.state);
  int status = plan_row(managers, row, writer_of(request), writers, change);
  if (status == 0) {
    status = managers_commit(managers, change);
  }
  if (status == 0) {
    managers.writers[row.vsan.id] = std::move(writers);
  }
  return status;
}

int handle_vsan_delete(switch_managers &managers, const message_request &request, message_reply &) {
  const uint32_t id = row_vsan(request.payload);
  switch_change change = change_begin(managers.state);
  int status = plan_vsan_delete(managers.state, id, change);
  if (status != 0) {
    return status;
  }
  dropped_vsan taken = take_down(managers.state, id);
  taken.writer = writer_of(request);
  taken.session = managers.sessions_closed;
  status = managers_commit(managers, change);
  if (status == 0) {
    taken.writers = std::move(managers.writers[id]);
    managers.writers.erase(id);
    keep_dropped(managers.dropped, std::move(taken));
  }
  return status;
}

namespace {

int answer_interface(const interface_record *interface, message_reply &reply) {
  if (interface == nullptr) {
    return kStatusNoEntry;
  }
  reply.payload = record_bytes(vsanIfEntry{interface->index, interface->vsan, 0, kRowStatusActive});
  return 0;
}

}  // namespace

int handle_interface_get(switch_managers &managers, const message_request &request, message_reply &reply) {
  return answer_interface(find_interface(managers.state, asked_interface(request).ifIndex), reply);
}

int handle_interface_get_next(switch_managers &managers, const message_request &request, message_reply &reply) {
  return answer_interface(next_interface(managers.state, asked_interface(request).ifIndex), reply);
}

int handle_interface_set(switch_managers &managers, const message_request &request, message_reply &) {
  const vsanIfEntry wanted = asked_interface(request);
  switch_change change = change_begin(managers.state);
  const int status = plan_interface_move(managers.state, wanted.ifIndex, wanted.vsanIfVsan, change);
  return status != 0 ? status : managers_commit(managers, change);
}
